# Warnings and sanitizers, on an interface target that every target of ours links privately, so that
# nothing of it reaches a host that links the libraries.
add_library(kx_build_flags INTERFACE)

target_compile_options(kx_build_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wnon-virtual-dtor
  $<$<BOOL:${KX_WARNINGS_AS_ERRORS}>:-Werror>)

# Where several sources are compiled as one, which takes half the time or less, what is anonymous in them is in no main
# file. The compiler warns of that with reason only where each source is compiled alone.
target_compile_options(kx_build_flags INTERFACE
  $<$<AND:$<CXX_COMPILER_ID:GNU>,$<BOOL:$<TARGET_PROPERTY:UNITY_BUILD>>>:-Wno-subobject-linkage>)

if(KX_SANITIZE)
  target_compile_options(kx_build_flags INTERFACE
    -fsanitize=${KX_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(kx_build_flags INTERFACE -fsanitize=${KX_SANITIZE})
endif()

# What clang++ links for the thread sanitizer has operators new and delete that a test cannot replace. As a linker of C it
# leaves them out; those of the C++ library call malloc, which the sanitizer sees as well.
if(KX_SANITIZE STREQUAL "thread" AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  target_link_options(kx_build_flags INTERFACE --driver-mode=gcc)
  target_link_libraries(kx_build_flags INTERFACE stdc++ m)
endif()

# Counts what runs of what ships: the libraries and the tools. Tests are not counted, but link what counts.
if(KX_COVERAGE)
  target_link_options(kx_build_flags INTERFACE --coverage)
endif()

function(kx_count_coverage target)
  if(KX_COVERAGE)
    target_compile_options(${target} PRIVATE --coverage -fprofile-update=atomic)
  endif()
endfunction()

# What the libraries' interface is made of, which scripts/check-abi compares, stands in full debug information only.
function(kx_describe_types target)
  if(KX_DESCRIBE_TYPES)
    target_compile_options(${target} PRIVATE -g)
  endif()
endfunction()

# What is linked into a shared library must link the sanitizer as well.
function(kx_link_build_flags target)
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:kx_build_flags>)
endfunction()
