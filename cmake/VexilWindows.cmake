# Copies the DLLs of the C++ runtime, libcurl and OpenSSL into the folder of vexil.dll: Windows has no system folder for
# them, and programs contain no path to them.
if(NOT VEXIL_WINDOWS_DEPS)
  message(FATAL_ERROR "VEXIL_WINDOWS_DEPS: set it to the folder that windows/build-dependencies.sh has made.")
endif()
file(GLOB runtime_dlls CONFIGURE_DEPENDS "${VEXIL_WINDOWS_DEPS}/bin/*.dll")
file(COPY ${runtime_dlls} DESTINATION "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
install(FILES ${runtime_dlls} DESTINATION ${CMAKE_INSTALL_BINDIR})
