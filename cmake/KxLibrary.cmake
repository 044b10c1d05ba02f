# kx_add_library(name INCLUDES folder): one of the two libraries, kx::name, with what both have alike. Its sources are
# compiled once, in the object library kx_name_objects, so that tests reach what the shared library hides: add them there.
#   INCLUDES   where its public headers lie
function(kx_add_library name)
  cmake_parse_arguments(arg "" "INCLUDES" "" ${ARGN})
  set(target kx_${name})
  string(REPLACE "_" "" output ${target})
  set(exported "${PROJECT_SOURCE_DIR}/cmake/${output}.map")

  add_library(${target}_objects OBJECT)
  target_include_directories(${target}_objects PUBLIC "${arg_INCLUDES}" "${PROJECT_SOURCE_DIR}")
  target_link_libraries(${target}_objects PUBLIC Threads::Threads PRIVATE kx_build_flags)
  kx_count_coverage(${target}_objects)
  kx_describe_types(${target}_objects)

  add_library(${target} SHARED)
  add_library(kx::${name} ALIAS ${target})
  set_target_properties(${target} PROPERTIES
    OUTPUT_NAME ${output}
    EXPORT_NAME ${name}
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    LINKER_LANGUAGE CXX
    LINK_DEPENDS "${exported}")
  target_include_directories(${target} PUBLIC
    "$<BUILD_INTERFACE:${arg_INCLUDES}>"
    "$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>")
  target_link_options(${target} PRIVATE "LINKER:--version-script=${exported}")
endfunction()
