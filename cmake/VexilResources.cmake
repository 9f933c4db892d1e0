# The certificate bundle, as the resource vexil/ca-bundle.crt of the build tree and of the installation.
set(VEXIL_CA_BUNDLE "/etc/ssl/certs/ca-certificates.crt" CACHE FILEPATH
    "Root certificates (PEM) that become the resource vexil/ca-bundle.crt")

if(NOT EXISTS "${VEXIL_CA_BUNDLE}" OR IS_DIRECTORY "${VEXIL_CA_BUNDLE}")
  message(FATAL_ERROR "VEXIL_CA_BUNDLE: there is no file '${VEXIL_CA_BUNDLE}'. "
                      "Install the package ca-certificates, or name another file of root certificates (PEM).")
endif()

# The library finds its resources relative to its own file. In the build tree it must therefore be as deep as in the
# installation ("lib", or "lib/x86_64-linux-gnu" below /usr).
set_target_properties(vexil PROPERTIES
  LIBRARY_OUTPUT_DIRECTORY "${PROJECT_BINARY_DIR}/${CMAKE_INSTALL_LIBDIR}")
configure_file("${VEXIL_CA_BUNDLE}" "${PROJECT_BINARY_DIR}/${CMAKE_INSTALL_DATADIR}/vexil/ca-bundle.crt" COPYONLY)

install(FILES "${PROJECT_BINARY_DIR}/${CMAKE_INSTALL_DATADIR}/vexil/ca-bundle.crt"
        DESTINATION ${CMAKE_INSTALL_DATADIR}/vexil)
