# ombrel_library(NAME SOURCES ... DEPENDS ...): one static library per subsystem.
# Headers sit beside the sources and are included as "name/Header.h" from src/.
function(ombrel_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS;PRIVATE_DEPENDS" ${ARGN})
  add_library(ombrel_${name} STATIC ${ARG_SOURCES})
  target_include_directories(ombrel_${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(ombrel_${name} PUBLIC ${ARG_DEPENDS} PRIVATE ${ARG_PRIVATE_DEPENDS})
endfunction()

# ombrel_test(NAME SOURCES ... DEPENDS ... [LABELS ...] [TIMEOUT s]): one GoogleTest
# executable per subsystem. Its main() points HOME and the XDG folders at a scratch folder.
# Its tests are labelled with the subsystem's name and LABELS.
function(ombrel_test name)
  cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;DEPENDS;LABELS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_DEPENDS} ombrel_testsupport GTest::gtest GTest::gmock)
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES TIMEOUT ${ARG_TIMEOUT})
  # Every test carries its subsystem's label, the folder under tests/ it lives in (ctest -L render),
  # beside its own. The labels are set by a script read after the discovered tests, because a list
  # does not pass through gtest_discover_tests' PROPERTIES whole.
  file(RELATIVE_PATH rel ${PROJECT_SOURCE_DIR}/tests ${CMAKE_CURRENT_SOURCE_DIR})
  string(REGEX REPLACE "/.*" "" subsystem "${rel}")
  set(labels ${subsystem} ${ARG_LABELS})
  set(script ${CMAKE_CURRENT_BINARY_DIR}/${name}_labels.cmake)
  file(WRITE ${script} "foreach(test IN LISTS ${name}_TESTS)\n"
                       "  set_tests_properties(\"\${test}\" PROPERTIES LABELS \"${labels}\")\n"
                       "endforeach()\n")
  set_property(DIRECTORY APPEND PROPERTY TEST_INCLUDE_FILES ${script})
endfunction()
