# Run by CPack when it has made the packages: takes the scripts out with which it calls ldconfig. The trigger in the
# same packages has dpkg call it, once for all of them.
function(run)
  execute_process(COMMAND ${ARGN} OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endfunction()

foreach(package IN LISTS CPACK_PACKAGE_FILES)
  if(package MATCHES "/libkxinformationmodel(opc)?[0-9]+_[^/]*$")
    set(folder "${package}.unpacked")
    file(REMOVE_RECURSE "${folder}")
    run(dpkg-deb --raw-extract "${package}" "${folder}")
    file(REMOVE "${folder}/DEBIAN/postinst" "${folder}/DEBIAN/postrm")
    run(dpkg-deb --root-owner-group -Zxz --build "${folder}" "${package}")
    file(REMOVE_RECURSE "${folder}")
  endif()
endforeach()
