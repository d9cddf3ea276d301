# The libraries that the layers stand on, each looked up once and under one name.

find_package(Threads REQUIRED)
find_package(fmt 9 REQUIRED)
find_package(spdlog 1.10 REQUIRED)
find_package(SQLite3 REQUIRED)
find_package(OpenSSL REQUIRED)
find_package(nlohmann_json 3.11 REQUIRED)
find_package(toml11 3.7 REQUIRED)
find_package(CLI11 2.1 REQUIRED)
find_package(cppzmq REQUIRED)
find_package(CURL 7.85 REQUIRED)
find_package(Boost 1.81 REQUIRED)

if(STATIONS_MAINTENANCE_BUILD_TESTS)
  find_package(GTest 1.12 REQUIRED)
endif()
