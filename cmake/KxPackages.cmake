# The Debian packages, one per component; scripts/package builds them.
set(KX_PACKAGE_MAINTAINER "KxInformationModel maintainers <kxinformationmodel@example.invalid>" CACHE STRING
  "Who answers for the Debian packages: \"name <mail address>\"")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME kxinformationmodel)
set(CPACK_PACKAGE_CONTACT "${KX_PACKAGE_MAINTAINER}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PACKAGING_INSTALL_PREFIX "/usr")

set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_COMPONENTS_ALL model opc dev)
if(TARGET xmlda AND TARGET kx_plant)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()
if(TARGET kx_gateway)
  list(APPEND CPACK_COMPONENTS_ALL gateway)
endif()

# The documentation: the site, and the examples.
set(doc_package libkxinformationmodel-doc)
if(KX_BUILD_DOCS)
  list(APPEND CPACK_COMPONENTS_ALL doc)
  add_custom_target(kx_docs ALL
    COMMAND "${PROJECT_SOURCE_DIR}/docs/site/make_site.py" "${PROJECT_BINARY_DIR}/docs" "${PROJECT_VERSION}"
    COMMENT "Making the site of the documentation"
    VERBATIM)
  install(DIRECTORY "${PROJECT_BINARY_DIR}/docs/html" "${PROJECT_SOURCE_DIR}/examples"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${doc_package}" COMPONENT doc)
  install(FILES "${PROJECT_SOURCE_DIR}/cmake/debian/doc-base"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/doc-base" RENAME ${doc_package} COMPONENT doc)
endif()

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
file(WRITE "${PROJECT_BINARY_DIR}/triggers" "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_MODEL_PACKAGE_CONTROL_EXTRA "${PROJECT_BINARY_DIR}/triggers")
set(CPACK_DEBIAN_OPC_PACKAGE_CONTROL_EXTRA "${PROJECT_BINARY_DIR}/triggers")
# dpkg-shlibdeps finds what the libraries need from Debian. Of each other's packages it knows nothing yet,
# so these dependencies are named; it must find the libraries nonetheless.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${PROJECT_BINARY_DIR}" "${PROJECT_BINARY_DIR}/model")

# CPack 3.25 knows no field for multi-arch, and writes the section as it is given.
set(same_on_all "\nMulti-Arch: same")

set(model_package "libkxinformationmodel${PROJECT_VERSION_MAJOR}")
set(CPACK_DEBIAN_MODEL_PACKAGE_NAME ${model_package})
set(CPACK_DEBIAN_MODEL_PACKAGE_SECTION "libs${same_on_all}")
set(CPACK_DEBIAN_MODEL_PACKAGE_SHLIBDEPS ON)
set(CPACK_COMPONENT_MODEL_DESCRIPTION "information model of typed variables - shared library
A tree of domains and typed variables with quality, timestamps, units and
ranges, which a program keeps up to date and shows to others.
This package holds what programs need to run.")

set(opc_package "libkxinformationmodelopc${PROJECT_VERSION_MAJOR}")
set(CPACK_DEBIAN_OPC_PACKAGE_NAME ${opc_package})
set(CPACK_DEBIAN_OPC_PACKAGE_SECTION "libs${same_on_all}")
set(CPACK_DEBIAN_OPC_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_OPC_PACKAGE_DEPENDS "${model_package} (>= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_OPC_DESCRIPTION "OPC XML-DA server for information models - shared library
Puts an OPC XML-DA 1.0 server in front of a tree of typed variables: clients
browse, read, write and subscribe with SOAP 1.1 over HTTP or HTTPS.
This package holds what programs need to run.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libkxinformationmodel-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION "libdevel${same_on_all}")
set(CPACK_DEBIAN_DEV_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS
  "${model_package} (= ${PROJECT_VERSION}), ${opc_package} (= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_DEV_DESCRIPTION "information model with an OPC XML-DA server - development files
Headers, and files for CMake and pkg-config, for programs that keep a tree of
typed variables and serve it to OPC XML-DA clients. The smallest such program
is among the examples.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME kx-xmlda-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION net)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS
  "${model_package} (>= ${PROJECT_VERSION}), ${opc_package} (>= ${PROJECT_VERSION})")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "command-line client for OPC XML-DA servers
The client, xmlda, browses, reads, writes, watches and records the items of
any OPC XML-DA 1.0 server. To have one to try it on there is also kx-plant, a
simulated steam plant.")

set(CPACK_DEBIAN_DOC_PACKAGE_NAME ${doc_package})
set(CPACK_DEBIAN_DOC_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_DOC_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DOC_PACKAGE_SHLIBDEPS OFF)
set(CPACK_COMPONENT_DOC_DESCRIPTION "information model with an OPC XML-DA server - documentation
Guides for those who write hosts or clients and for operators, the reference
of the headers, and examples. A browser reads them without a network.")

set(CPACK_DEBIAN_GATEWAY_PACKAGE_NAME kx-gateway)
set(CPACK_DEBIAN_GATEWAY_PACKAGE_SECTION net)
set(CPACK_DEBIAN_GATEWAY_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_GATEWAY_PACKAGE_CONTROL_EXTRA
  "${PROJECT_SOURCE_DIR}/cmake/debian/kx-gateway/postinst"
  "${PROJECT_SOURCE_DIR}/cmake/debian/kx-gateway/prerm"
  "${PROJECT_SOURCE_DIR}/cmake/debian/kx-gateway/postrm")
set(CPACK_COMPONENT_GATEWAY_DESCRIPTION "page and published schema in front of an OPC XML-DA server
Stands in front of one server: browsers find a page with values, trends and
writes, programs the eight services as the published OPC XML-DA 1.0 schema has
them, and Prometheus numbers. A unit for systemd is there, and not enabled.")

# What only a Debian package has: changelog, copyright, compressed manual pages, examples.
set(KX_PACKAGE_OF_model ${model_package})
set(KX_PACKAGE_OF_opc ${opc_package})
set(KX_PACKAGE_OF_dev libkxinformationmodel-dev)
set(KX_PACKAGE_OF_tools kx-xmlda-tools)
set(KX_PACKAGE_OF_doc ${doc_package})
set(KX_PACKAGE_OF_gateway kx-gateway)
configure_file("${PROJECT_SOURCE_DIR}/cmake/debian/finish_packages.cmake.in"
  "${PROJECT_BINARY_DIR}/finish_packages.cmake" @ONLY)
set(CPACK_PRE_BUILD_SCRIPTS "${PROJECT_BINARY_DIR}/finish_packages.cmake")
set(CPACK_POST_BUILD_SCRIPTS "${PROJECT_SOURCE_DIR}/cmake/debian/drop_scripts.cmake")

include(CPack)
