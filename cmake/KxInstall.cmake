# What `cmake --install` puts where, besides the programs, which have their rules beside them. Components:
# model, opc (the libraries, as programs need them to run), dev (what building a host takes), tools.
include(CMakePackageConfigHelpers)

install(TARGETS kx_information_model EXPORT KxInformationModelTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT model NAMELINK_COMPONENT dev)
install(TARGETS kx_information_model_opc EXPORT KxInformationModelTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT opc NAMELINK_COMPONENT dev)
install(FILES ${KX_MODEL_HEADERS}
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/information_model" COMPONENT dev)
install(FILES "${PROJECT_SOURCE_DIR}/include/opc/Server.h"
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/opc" COMPONENT dev)

# The config package. A version serves those who ask for the same major number and no later minor one.
set(KX_CONFIG_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/KxInformationModel")
configure_package_config_file(
  "${PROJECT_SOURCE_DIR}/cmake/KxInformationModelConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/KxInformationModelConfig.cmake"
  INSTALL_DESTINATION "${KX_CONFIG_DIR}"
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(
  "${PROJECT_BINARY_DIR}/KxInformationModelConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES
  "${PROJECT_BINARY_DIR}/KxInformationModelConfig.cmake"
  "${PROJECT_BINARY_DIR}/KxInformationModelConfigVersion.cmake"
  DESTINATION "${KX_CONFIG_DIR}" COMPONENT dev)
install(EXPORT KxInformationModelTargets
  NAMESPACE kx:: DESTINATION "${KX_CONFIG_DIR}" COMPONENT dev)

# The pkg-config files find the prefix from where they lie, so that `cmake --install --prefix` may move
# everything. Below /usr they name it: pkg-config leaves out only those system folders that it recognises.
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  set(KX_PC_PREFIX "/usr")
else()
  file(RELATIVE_PATH KX_PC_PREFIX "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
  string(REGEX REPLACE "/$" "" KX_PC_PREFIX "\${pcfiledir}/${KX_PC_PREFIX}")
endif()
foreach(library kxinformationmodel kxinformationmodelopc)
  configure_file("${PROJECT_SOURCE_DIR}/cmake/${library}.pc.in" "${PROJECT_BINARY_DIR}/${library}.pc" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/${library}.pc"
    DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT dev)
endforeach()
