# How every target of the project is built: language level, warnings, sanitizers, and the two helpers
# with which layers and tests declare themselves.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # Another checkout of the same sources shares what was compiled here. Precompiled headers and ccache agree only
  # when time stamps inside the former do not count.
  set(CMAKE_CXX_COMPILER_LAUNCHER
    "${CMAKE_COMMAND}" -E env
    "CCACHE_BASEDIR=${CMAKE_SOURCE_DIR}" CCACHE_NOHASHDIR=1
    CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
    "${CCACHE_PROGRAM}")
  add_compile_options(-fpch-preprocess)
endif()

set(STATIONS_MAINTENANCE_SANITIZE "" CACHE STRING "Sanitizers to build with, as -fsanitize takes them")
if(STATIONS_MAINTENANCE_SANITIZE)
  add_compile_options(-fsanitize=${STATIONS_MAINTENANCE_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${STATIONS_MAINTENANCE_SANITIZE})
  if(STATIONS_MAINTENANCE_SANITIZE MATCHES "thread")
    # Asio's fences are beside its locks, never in their place; the compiler only says that it cannot see them.
    add_compile_options(-Wno-tsan)
  endif()
endif()

option(STATIONS_MAINTENANCE_COVERAGE "Count which lines the tests reach" OFF)
if(STATIONS_MAINTENANCE_COVERAGE)
  add_compile_options(--coverage)
  add_link_options(--coverage)
endif()

# Left out are two warnings with which GCC 12, once it optimises, meets the standard library's streams (null
# dereference) and the frames of Asio's coroutines (mismatched new and delete).
add_library(stations_maintenance_warnings INTERFACE)
target_compile_options(stations_maintenance_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor -Woverloaded-virtual
  -Wold-style-cast -Wcast-qual -Wduplicated-cond -Wlogical-op -Wformat=2 -Wno-mismatched-new-delete -Werror)

# add_layer(<name> [SHARED] SOURCES ... [PUBLIC_LINK ...] [PRIVATE_LINK ...] [INCLUDE dir] [PRECOMPILE headers])
# One static library with an include root of its own, so that an include against the layering does not compile.
function(add_layer name)
  cmake_parse_arguments(ARG "SHARED" "INCLUDE" "SOURCES;PUBLIC_LINK;PRIVATE_LINK;PRECOMPILE" ${ARGN})
  if(ARG_SHARED)
    add_library(${name} SHARED ${ARG_SOURCES})
  else()
    add_library(${name} STATIC ${ARG_SOURCES})
  endif()
  target_include_directories(${name} PUBLIC "${ARG_INCLUDE}")
  target_link_libraries(${name} PUBLIC ${ARG_PUBLIC_LINK} PRIVATE stations_maintenance_warnings ${ARG_PRIVATE_LINK})
  if(ARG_PRECOMPILE)
    target_precompile_headers(${name} PRIVATE ${ARG_PRECOMPILE})
  endif()
endfunction()
