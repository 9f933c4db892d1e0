# Settings of all our targets.

# vexil_target_defaults(TARGET): language, warnings, sanitizers, include root.
function(vexil_target_defaults target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast
    -Wimplicit-fallthrough -Wundef)
  if(VEXIL_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(VEXIL_SANITIZE)
    target_compile_options(${target} PRIVATE -O1 -fsanitize=${VEXIL_SANITIZE} -fno-omit-frame-pointer
                                             -fno-sanitize-recover=all)
    target_link_options(${target} PRIVATE -fsanitize=${VEXIL_SANITIZE})
  endif()
endfunction()

# vexil_precompile(TARGET HEADER...): compiles headers once for all sources of a target, if the build is to do so. Not if it
# optimises: g++ 12 then warns about precompiled headers of the system as if they were ours. HEADER stands in angle
# brackets: with a path of this folder ccache would find nothing for a build in another folder.
function(vexil_precompile target)
  if(VEXIL_PRECOMPILE_HEADERS AND CMAKE_BUILD_TYPE STREQUAL "Debug" AND NOT VEXIL_SANITIZE)
    target_precompile_headers(${target} PRIVATE ${ARGN})
  endif()
endfunction()
