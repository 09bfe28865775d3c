# What every target of the tree shares: language level, warnings, sanitizers, linker, and how a test is declared.

set(CMAKE_CXX_STANDARD 23)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)

add_compile_options(-Wall -Wextra -Wshadow -Wnon-virtual-dtor)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  add_link_options(-fuse-ld=lld)
endif()
if(GLASSHOB_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

# The asan preset compiles several files of a target as one (CMAKE_UNITY_BUILD), which halves its time; nobody edits in
# it. So names in the anonymous namespaces of one target differ, or the folder sets CMAKE_UNITY_BUILD to OFF. A local
# name may be that of another file's: the other presets warn of what is hidden within one file.
if(CMAKE_UNITY_BUILD)
  add_compile_options(-Wno-shadow)
endif()

# Half of the time that a source file takes is the headers of the standard library and of Qt: they are parsed once for
# each library. The compiler cache takes such builds when the header's time is left out of it.
set(GLASSHOB_STANDARD_HEADERS
  <algorithm> <array> <bit> <charconv> <chrono> <cmath> <cstdint> <cstring> <deque> <expected> <functional> <map>
  <memory> <optional> <span> <string> <string_view> <unordered_map> <unordered_set> <utility> <vector>)
function(glasshob_precompile name)
  target_precompile_headers(${name} PRIVATE ${GLASSHOB_STANDARD_HEADERS} ${ARGN})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    target_compile_options(${name} PRIVATE "SHELL:-Xclang -fno-pch-timestamp")
  endif()
endfunction()

# glasshob_library(NAME SOURCES... [LINK libs...] [PRECOMPILE headers...]): a static library whose headers are included
# as <Folder/Header.h> from the top of the tree.
function(glasshob_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINK;PRECOMPILE" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PUBLIC ${ARG_LINK})
  glasshob_precompile(${name} ${ARG_PRECOMPILE})
endfunction()

# The tests' own code is run once: not worth the optimiser's time. -fPIC is what their precompiled header has.
set(GLASSHOB_TEST_OPTIONS -O0 -fPIC)

# The main of test programs that need none of their own, and the precompiled header of them all: gtest's headers are more
# than half of what a compiler reads for a test.
function(glasshob_test_main)
  add_library(test_main OBJECT ${PROJECT_SOURCE_DIR}/cmake/TestMain.cpp)
  target_compile_options(test_main PRIVATE ${GLASSHOB_TEST_OPTIONS})
  target_link_libraries(test_main PUBLIC GTest::gtest GTest::gmock)
  glasshob_precompile(test_main <gtest/gtest.h> <gmock/gmock.h>)
endfunction()

# glasshob_test(NAME LABELS unit|golden|gpu|media|ui|slow SOURCES... LINK libs... [MAIN] [MOC] [PRECOMPILED target]
#   [SECONDS n] [ENVIRONMENT NAME=value...] [LAUNCHER command...])
# One test program, and one ctest entry for it. MAIN says that it has a main of its own; MOC that its files have Qt's meta
# objects; PRECOMPILED takes the precompiled header of another target than test_main (OFF: of none). SECONDS is how long
# it takes, where that is long: ctest starts the longest first, so that none is left running alone at the end.
# The Vulkan validation layer is on in every test (GLASSHOB_VALIDATION=1) and a message of it fails the program; the
# driver's shader cache and the user's folders are redirected so that a test never touches the user's files.
function(glasshob_test name)
  if(NOT GLASSHOB_TESTS)
    return()
  endif()
  cmake_parse_arguments(ARG "MAIN;MOC" "PRECOMPILED;SECONDS" "SOURCES;LINK;LABELS;ENVIRONMENT;LAUNCHER" ${ARGN})
  if(NOT DEFINED ARG_PRECOMPILED)
    set(ARG_PRECOMPILED test_main)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR})
  target_compile_options(${name} PRIVATE ${GLASSHOB_TEST_OPTIONS})
  target_link_libraries(${name} PRIVATE ${ARG_LINK} GTest::gtest GTest::gmock)
  if(NOT ARG_MAIN)
    target_link_libraries(${name} PRIVATE test_main)
  endif()
  if(ARG_MOC)
    set_target_properties(${name} PROPERTIES AUTOMOC ON)
  endif()
  if(ARG_PRECOMPILED)
    target_precompile_headers(${name} REUSE_FROM ${ARG_PRECOMPILED})
  endif()
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  set(home ${CMAKE_BINARY_DIR}/tests/home/${name})
  file(MAKE_DIRECTORY ${home})
  add_test(NAME ${name} COMMAND ${ARG_LAUNCHER} $<TARGET_FILE:${name}>)
  set_tests_properties(${name} PROPERTIES
    LABELS "${ARG_LABELS}" TIMEOUT 900 # ends what hangs; a busy machine is given its time
    ENVIRONMENT "GLASSHOB_VALIDATION=1;QT_QPA_PLATFORM=offscreen;HOME=${home};XDG_CONFIG_HOME=${home}/config;XDG_DATA_HOME=${home}/data;XDG_CACHE_HOME=${home}/cache;XDG_DOCUMENTS_DIR=${home}/Documents;${ARG_ENVIRONMENT}")
  if(ARG_SECONDS)
    set_property(TEST ${name} PROPERTY COST ${ARG_SECONDS})
  endif()
  if(ui IN_LIST ARG_LABELS) # one at a time: windows of two programs on one display cover each other and take the focus
    set_property(TEST ${name} PROPERTY RESOURCE_LOCK display)
  endif()
endfunction()
