# Helpers every subsystem folder uses to add its sources, public headers and tests.

# Warnings for the project's own targets; CI turns them into errors with Q7_WERROR.
function(q7_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic)
  if(Q7_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

# Sanitizer flags go on everything the build makes, so that tests, tools and the library
# all run instrumented.
if(Q7_SANITIZE STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=all)
  add_link_options(-fsanitize=address,undefined)
elseif(Q7_SANITIZE STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
elseif(NOT Q7_SANITIZE STREQUAL "")
  message(FATAL_ERROR "Q7_SANITIZE must be empty, address or thread, not '${Q7_SANITIZE}'")
endif()

# Adds library sources from the calling folder.
function(q7_sources)
  foreach(source IN LISTS ARGN)
    target_sources(q7 PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/${source})
  endforeach()
endfunction()

# Installs public headers of the calling folder under include/q7/<folder> and records them
# for the check that every public header compiles on its own.
function(q7_public_headers)
  file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
  foreach(header IN LISTS ARGN)
    install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder})
    set_property(GLOBAL APPEND PROPERTY Q7_PUBLIC_HEADERS ${folder}/${header})
  endforeach()
endfunction()

# Adds test sources to the test executable of one subsystem, q7_<subsystem>_test, whose
# tests carry the label <subsystem> (ctest -L <subsystem>). LIBRARIES names further
# libraries the tests link.
function(q7_test subsystem)
  if(NOT Q7_BUILD_TESTS)
    return()
  endif()
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "LIBRARIES")
  set(target q7_${subsystem}_test)
  if(NOT TARGET ${target})
    add_executable(${target})
    target_link_libraries(${target} PRIVATE q7 q7_test_support GTest::gtest GTest::gmock)
    q7_warnings(${target})
    gtest_discover_tests(${target}
      PROPERTIES LABELS ${subsystem}
      DISCOVERY_TIMEOUT 60)
  endif()
  target_link_libraries(${target} PRIVATE ${arg_LIBRARIES})
  foreach(source IN LISTS arg_UNPARSED_ARGUMENTS)
    target_sources(${target} PRIVATE ${CMAKE_CURRENT_SOURCE_DIR}/${source})
  endforeach()
endfunction()

# Adds allocation-failure scenarios (tests/support/alloc_failure.h) to q7_alloc_test, whose
# tests carry the label alloc (ctest -L alloc). It is the one executable with the allocation
# shim.
function(q7_alloc_test)
  q7_test(alloc ${ARGN} LIBRARIES q7_alloc_failure)
endfunction()

# Fuzz builds instrument everything for coverage and AddressSanitizer; the fuzz targets
# themselves link libFuzzer's main (q7_fuzzer in fuzz/CMakeLists.txt).
if(Q7_BUILD_FUZZERS)
  if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    message(FATAL_ERROR "Q7_BUILD_FUZZERS needs clang (CXX=clang++)")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
