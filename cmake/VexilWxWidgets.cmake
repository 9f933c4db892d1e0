# wxWidgets' base and xml libraries as the target vexil_wx. Only the code of the library uses them.
find_package(wxWidgets 3.1 REQUIRED COMPONENTS xml base)
add_library(vexil_wx INTERFACE)
target_include_directories(vexil_wx SYSTEM INTERFACE ${wxWidgets_INCLUDE_DIRS})
target_compile_definitions(vexil_wx INTERFACE ${wxWidgets_DEFINITIONS})
target_compile_options(vexil_wx INTERFACE ${wxWidgets_CXX_FLAGS})
target_link_directories(vexil_wx INTERFACE ${wxWidgets_LIBRARY_DIRS})
target_link_libraries(vexil_wx INTERFACE ${wxWidgets_LIBRARIES})
