# What a program needs beside it on Windows, where there is neither a system folder of such libraries nor a path to
# them in the program: the DLLs of the C++ runtime, libcurl and OpenSSL, in the folder of vexil.dll.
if(NOT VEXIL_WINDOWS_DEPS)
  message(FATAL_ERROR "VEXIL_WINDOWS_DEPS: name the folder that windows/build-dependencies.sh has made.")
endif()
file(GLOB runtime_dlls CONFIGURE_DEPENDS "${VEXIL_WINDOWS_DEPS}/bin/*.dll")
file(COPY ${runtime_dlls} DESTINATION "${CMAKE_RUNTIME_OUTPUT_DIRECTORY}")
install(FILES ${runtime_dlls} DESTINATION ${CMAKE_INSTALL_BINDIR})
