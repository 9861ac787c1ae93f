# ombrel_library(NAME SOURCES ... DEPENDS ... [PRIVATE_DEPENDS ...] [HEADER_DIR dir] [EXCLUDE_DIRS ...]):
# one static library per subsystem. Headers sit beside the sources and are included as
# "folder/Header.h". Each library gets an include root of its own in the build tree that holds
# only its own headers, so a file sees the headers of the libraries it links and no others:
# an include of a library not linked fails to compile. HEADER_DIR (relative to src/) defaults
# to the folder of the CMakeLists.txt; subfolders with a CMakeLists.txt of their own, and
# EXCLUDE_DIRS, belong to other libraries.
function(ombrel_library name)
  cmake_parse_arguments(ARG "" "HEADER_DIR" "SOURCES;DEPENDS;PRIVATE_DEPENDS;EXCLUDE_DIRS" ${ARGN})
  add_library(ombrel_${name} STATIC ${ARG_SOURCES})
  set(src_root ${PROJECT_SOURCE_DIR}/src)
  if(NOT ARG_HEADER_DIR)
    file(RELATIVE_PATH ARG_HEADER_DIR ${src_root} ${CMAKE_CURRENT_SOURCE_DIR})
  endif()
  set(include_root ${CMAKE_BINARY_DIR}/include/${name})
  file(REMOVE_RECURSE ${include_root})
  file(GLOB_RECURSE headers CONFIGURE_DEPENDS RELATIVE ${src_root}/${ARG_HEADER_DIR}
       ${src_root}/${ARG_HEADER_DIR}/*.h)
  foreach(header IN LISTS headers)
    set(owned TRUE)
    get_filename_component(dir ${header} DIRECTORY)
    while(dir)
      if(EXISTS ${src_root}/${ARG_HEADER_DIR}/${dir}/CMakeLists.txt OR dir IN_LIST ARG_EXCLUDE_DIRS)
        set(owned FALSE)
      endif()
      get_filename_component(dir ${dir} DIRECTORY)
    endwhile()
    if(owned)
      get_filename_component(link_dir ${include_root}/${ARG_HEADER_DIR}/${header} DIRECTORY)
      file(MAKE_DIRECTORY ${link_dir})
      file(CREATE_LINK ${src_root}/${ARG_HEADER_DIR}/${header} ${include_root}/${ARG_HEADER_DIR}/${header} SYMBOLIC)
    endif()
  endforeach()
  file(MAKE_DIRECTORY ${include_root})
  target_include_directories(ombrel_${name} PUBLIC ${include_root})
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
