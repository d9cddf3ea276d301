# How every target of the project is built: language level, warnings, sanitizers, and the two helpers
# with which layers and tests declare themselves.

if(NOT CMAKE_CXX_STANDARD)
  set(CMAKE_CXX_STANDARD 20)
elseif(CMAKE_CXX_STANDARD LESS 20 OR CMAKE_CXX_STANDARD GREATER 90)
  message(FATAL_ERROR "CMAKE_CXX_STANDARD is ${CMAKE_CXX_STANDARD}, expected 20 or later")
endif()
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/bin")
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/lib")

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # Another checkout of the same sources shares what was compiled here. Precompiled headers and ccache agree only
  # when time stamps inside the former do not count.
  set(CMAKE_CXX_COMPILER_LAUNCHER
    "${CMAKE_COMMAND}" -E env
    "CCACHE_BASEDIR=${CMAKE_SOURCE_DIR}" CCACHE_NOHASHDIR=1
    CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
    "${CCACHE_PROGRAM}")
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    add_compile_options("SHELL:-Xclang -fno-pch-timestamp")
  else()
    add_compile_options(-fpch-preprocess)
  endif()
endif()

set(STATIONS_MAINTENANCE_SANITIZE "" CACHE STRING "Sanitizers to build with, as -fsanitize takes them")
if(STATIONS_MAINTENANCE_SANITIZE)
  add_compile_options(-fsanitize=${STATIONS_MAINTENANCE_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=${STATIONS_MAINTENANCE_SANITIZE})
  if(STATIONS_MAINTENANCE_SANITIZE MATCHES "thread" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # Asio's fences are beside its locks, never in their place; the compiler only says that it cannot see them.
    add_compile_options(-Wno-tsan)
  endif()
endif()

option(STATIONS_MAINTENANCE_COVERAGE "Count which lines the tests reach" OFF)
if(STATIONS_MAINTENANCE_COVERAGE)
  add_compile_options(--coverage)
  add_link_options(--coverage)
endif()

option(STATIONS_MAINTENANCE_WARNINGS_AS_ERRORS "End the build at a compiler's warning, as the presets do" OFF)
add_library(stations_maintenance_warnings INTERFACE)
target_compile_options(stations_maintenance_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor -Woverloaded-virtual
  -Wold-style-cast -Wcast-qual -Wformat=2 $<$<BOOL:${STATIONS_MAINTENANCE_WARNINGS_AS_ERRORS}>:-Werror>)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # Left out are three warnings with which GCC 12, once it optimises, meets the standard library's streams (null
  # dereference) and strings (restrict), and the frames of Asio's coroutines (mismatched new and delete).
  target_compile_options(stations_maintenance_warnings INTERFACE
    -Wduplicated-cond -Wlogical-op -Wno-restrict -Wno-mismatched-new-delete)
  if(CMAKE_UNITY_BUILD)
    # Sources that are compiled together are no headers, though that is what the warning takes them for.
    target_compile_options(stations_maintenance_warnings INTERFACE -Wno-subobject-linkage)
  endif()
endif()

# show_only(<target> <namespace>): a shared library shows what is marked for export in this namespace. Instances of
# other libraries' templates stay inside, where no other version of them in the same process can take their place.
function(show_only target namespace)
  set(map "${CMAKE_CURRENT_BINARY_DIR}/${target}.map")
  file(CONFIGURE OUTPUT "${map}" @ONLY CONTENT [[
{
  global:
    extern "C++" {
      @namespace@::*;
      vtable?for?@namespace@::*;
      typeinfo?for?@namespace@::*;
      typeinfo?name?for?@namespace@::*;
    };
  local: *;
};
]])
  target_link_options(${target} PRIVATE "-Wl,--version-script=${map}")
  set_target_properties(${target} PROPERTIES LINK_DEPENDS "${map}")
endfunction()

# add_layer(<name> [SHARED namespace] SOURCES ... [PUBLIC_LINK ...] [PRIVATE_LINK ...] [INCLUDE dir] [PRECOMPILE headers])
# One static library with an include root of its own, so that an include against the layering does not compile; or a
# shared one that shows a namespace, which others link as stations_maintenance::<name>, built here or installed.
function(add_layer name)
  cmake_parse_arguments(ARG "" "SHARED;INCLUDE" "SOURCES;PUBLIC_LINK;PRIVATE_LINK;PRECOMPILE" ${ARGN})
  if(ARG_SHARED)
    add_library(${name} SHARED ${ARG_SOURCES})
    add_library(stations_maintenance::${name} ALIAS ${name})
    show_only(${name} ${ARG_SHARED})
    # Whoever links it meets its headers, which are written in this level of the language.
    target_compile_features(${name} PUBLIC cxx_std_20)
  else()
    add_library(${name} STATIC ${ARG_SOURCES})
  endif()
  cmake_path(ABSOLUTE_PATH ARG_INCLUDE NORMALIZE OUTPUT_VARIABLE include_root)
  target_include_directories(${name} PUBLIC "$<BUILD_INTERFACE:${include_root}>")
  target_link_libraries(${name} PUBLIC ${ARG_PUBLIC_LINK} PRIVATE stations_maintenance_warnings ${ARG_PRIVATE_LINK})
  if(ARG_PRECOMPILE)
    target_precompile_headers(${name} PRIVATE ${ARG_PRECOMPILE})
  endif()
endfunction()
