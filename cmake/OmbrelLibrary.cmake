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
function(ombrel_test name)
  cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;DEPENDS;LABELS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE ${ARG_DEPENDS} ombrel_testsupport GTest::gtest GTest::gmock)
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  set(props TIMEOUT ${ARG_TIMEOUT})
  if(ARG_LABELS)
    list(APPEND props LABELS ${ARG_LABELS})
  endif()
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES ${props})
endfunction()
