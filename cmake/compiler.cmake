# The compiler options of the project: warnings, sanitizers and the thread-safety analysis. Every target
# links vantry_options to get them.
find_package(Threads REQUIRED)

add_library(vantry_options INTERFACE)
target_include_directories(vantry_options INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/src>)
target_link_libraries(vantry_options INTERFACE Threads::Threads)
target_compile_definitions(vantry_options INTERFACE VANTRY_VERSION="${PROJECT_VERSION}")
target_compile_options(vantry_options INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual -Wvla -Werror)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  target_compile_options(vantry_options INTERFACE -Wthread-safety -Wthread-safety-beta)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # GCC 12 warns without reason about overlapping copies where a literal and a std::string are added.
  target_compile_options(vantry_options INTERFACE -Wno-restrict)
endif()
if(VANTRY_SANITIZE)
  target_compile_options(vantry_options INTERFACE
    -fsanitize=${VANTRY_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  if(VANTRY_SANITIZE MATCHES "undefined")
    # The check of an object's type asks the kernel whether the object can be read, through a pipe. Where no
    # descriptor is left, which a test brings about, every object is then reported as invalid.
    target_compile_options(vantry_options INTERFACE -fno-sanitize=vptr)
    if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      # These two checks stand at each access and take a third of the time of a build. A null pointer ends
      # a program in any case, and the fuzz targets, which clang builds, have both.
      target_compile_options(vantry_options INTERFACE -fno-sanitize=null,alignment)
    endif()
  endif()
  target_link_options(vantry_options INTERFACE -fsanitize=${VANTRY_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    # What a sanitizer adds causes false positives of these warnings. No warning is an error here: the
    # builds for release and with clang hold them.
    target_compile_options(vantry_options INTERFACE
      -Wno-maybe-uninitialized -Wno-array-bounds -Wno-stringop-overflow -Wno-error)
  endif()
endif()

# Parses the headers that most files include once: `provider`, a target of the current folder, keeps them, and
# the targets behind TARGETS, which have the same options, use them. HEADERS are added to the standard ones.
# Builds that optimise as for a release do without: behind such headers GCC 12 warns without reason about
# the system's own code, and there a file has to name what it includes.
function(vantry_share_headers provider)
  cmake_parse_arguments(PARSE_ARGV 1 SHARED "" "" "HEADERS;TARGETS")
  target_precompile_headers(${provider} PRIVATE <algorithm> <array> <atomic> <charconv> <chrono>
    <condition_variable> <cstdint> <cstring> <deque> <filesystem> <fstream> <functional> <map> <memory>
    <optional> <set> <sstream> <string> <string_view> <thread> <unordered_map> <vector> ${SHARED_HEADERS})
  foreach(target IN LISTS SHARED_TARGETS)
    target_precompile_headers(${target} REUSE_FROM ${provider})
  endforeach()
endfunction()

# Returns the targets of the current folder of a type that matches `types`, without `excepted`.
function(vantry_targets_here result types excepted)
  get_property(targets DIRECTORY PROPERTY BUILDSYSTEM_TARGETS)
  if(NOT excepted STREQUAL "")
    list(REMOVE_ITEM targets ${excepted})
  endif()
  set(found)
  foreach(target IN LISTS targets)
    get_target_property(type ${target} TYPE)
    if(type MATCHES "^(${types})$")
      list(APPEND found ${target})
    endif()
  endforeach()
  set(${result} ${found} PARENT_SCOPE)
endfunction()
