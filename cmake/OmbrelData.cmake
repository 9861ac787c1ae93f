# The build-time data pipeline: plain sources become the resources of the data root.
#
#   include(OmbrelData)
#   ombrel_resource(<name>
#       SOURCE <file>          plain source: a file under data/ (relative paths are taken from the
#                              calling CMakeLists.txt's folder) or a file generated in the build tree
#       DEST <relative path>   where it lands under the data root, e.g. Resources/Shaders/core.fs
#       [GZIP]                 gzip before scrambling (shader sources only; tables and curves are not)
#       [COPY]                 copy as is, not scrambled (plain property lists, images)
#       [DEPENDS <files or targets>...]   what makes SOURCE, when a generator writes it
#       [ROOT <dir>]           a root other than ${OMBREL_BUILD_DATA_DIR}; such a resource is left
#                              out of a plain install (tests use this)
#       [COMPONENT <name>])    install component, "data" unless given
#
# The resource is written at build time by ombrel-pack to <root>/<DEST> and installed to
# share/tessaly/<DEST>, which is where DataRoot() finds it. Each call makes a target
# ombrel_res_<name>; all of them hang on the target ombrel_data, which the default build makes.
#
# Example (a shader source under data/shaders/):
#   ombrel_resource(core_fragment SOURCE core.fs DEST Resources/Shaders/core.fs GZIP)
# Example (a table written by a generator tool at build time):
#   add_custom_command(OUTPUT ${CMAKE_CURRENT_BINARY_DIR}/5207.tin
#     COMMAND gen-tables --out ${CMAKE_CURRENT_BINARY_DIR}/5207.tin DEPENDS gen-tables)
#   ombrel_resource(tin_5207 SOURCE ${CMAKE_CURRENT_BINARY_DIR}/5207.tin DEST Profiles/Redcolor/5207.tin)
# Both calls must sit in the same CMakeLists.txt as the custom command that makes SOURCE.

if(NOT TARGET ombrel_data)
  add_custom_target(ombrel_data ALL COMMENT "Data resources are up to date")
endif()

function(ombrel_resource name)
  cmake_parse_arguments(ARG "GZIP;COPY" "SOURCE;DEST;ROOT;COMPONENT" "DEPENDS" ${ARGN})
  if(ARG_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "ombrel_resource(${name}): unknown arguments ${ARG_UNPARSED_ARGUMENTS}")
  endif()
  if(NOT ARG_SOURCE OR NOT ARG_DEST)
    message(FATAL_ERROR "ombrel_resource(${name}): SOURCE and DEST are required")
  endif()
  if(ARG_GZIP AND ARG_COPY)
    message(FATAL_ERROR "ombrel_resource(${name}): GZIP and COPY exclude each other")
  endif()
  if(IS_ABSOLUTE "${ARG_DEST}" OR ARG_DEST MATCHES "(^|/)\\.\\.(/|$)")
    message(FATAL_ERROR "ombrel_resource(${name}): DEST must be a path inside the data root, not ${ARG_DEST}")
  endif()
  if(TARGET ombrel_res_${name})
    message(FATAL_ERROR "ombrel_resource(${name}): a resource of that name exists already")
  endif()

  get_filename_component(source "${ARG_SOURCE}" ABSOLUTE BASE_DIR "${CMAKE_CURRENT_SOURCE_DIR}")
  set(root "${OMBREL_BUILD_DATA_DIR}")
  if(ARG_ROOT)
    set(root "${ARG_ROOT}")
  endif()
  set(output "${root}/${ARG_DEST}")
  get_filename_component(output_dir "${output}" DIRECTORY)
  get_filename_component(dest_dir "${ARG_DEST}" DIRECTORY)

  if(ARG_COPY)
    set(make_it ${CMAKE_COMMAND} -E copy "${source}" "${output}")
    set(tool)
    set(verb "Copying")
  else()
    set(mode scramble)
    if(ARG_GZIP)
      list(APPEND mode --gzip)
    endif()
    set(make_it $<TARGET_FILE:ombrel-pack> ${mode} "${source}" "${output}")
    set(tool ombrel-pack)
    set(verb "Scrambling")
  endif()

  add_custom_command(OUTPUT "${output}"
    COMMAND ${CMAKE_COMMAND} -E make_directory "${output_dir}"
    COMMAND ${make_it}
    DEPENDS "${source}" ${tool} ${ARG_DEPENDS}
    COMMENT "${verb} resource ${ARG_DEST}"
    VERBATIM)
  add_custom_target(ombrel_res_${name} DEPENDS "${output}")
  add_dependencies(ombrel_data ombrel_res_${name})

  set(component data)
  if(ARG_COMPONENT)
    set(component ${ARG_COMPONENT})
  endif()
  set(exclude)
  if(ARG_ROOT)
    set(exclude EXCLUDE_FROM_ALL)
  endif()
  install(FILES "${output}" DESTINATION "share/tessaly/${dest_dir}" COMPONENT ${component} ${exclude})
endfunction()
