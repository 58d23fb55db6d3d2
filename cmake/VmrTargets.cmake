# What every target of this project is built with, and the verb that makes a
# library out of one folder.

# Our own targets' alone: set for the folders of this project, where what a target
# links, and so a host, does not see them. What a compiler warns of is an error for
# those who develop the recorder; a host that adds this folder builds with a compiler
# and with warnings of its own choice.
add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-fno-strict-overflow>)
set(vmr_warnings $<$<COMPILE_LANGUAGE:CXX>:-Wall;-Wextra;-Wconversion;-Wshadow;-Werror>)
if(PROJECT_IS_TOP_LEVEL)
  add_compile_options("${vmr_warnings}")
endif()

# What the headers need, a host's code too: where they are, and the widths.
add_library(vmr_build_flags INTERFACE)
target_include_directories(vmr_build_flags INTERFACE ${PROJECT_SOURCE_DIR})
# Files and times are 64 bits wide on the 32-bit unit too.
target_compile_definitions(vmr_build_flags INTERFACE
  _FILE_OFFSET_BITS=64 _TIME_BITS=64)
if(VMR_SANITIZE)
  target_compile_options(vmr_build_flags INTERFACE
    -fsanitize=${VMR_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(vmr_build_flags INTERFACE -fsanitize=${VMR_SANITIZE})
  if(CMAKE_SYSTEM_PROCESSOR STREQUAL ppc)
    # As an object: the runtime comes last on the line, behind every archive.
    add_library(vmr_atomic_shim OBJECT ${PROJECT_SOURCE_DIR}/cmake/atomic_shim.c)
    target_compile_options(vmr_atomic_shim PRIVATE -fno-builtin)
    target_link_libraries(vmr_build_flags INTERFACE $<TARGET_OBJECTS:vmr_atomic_shim> atomic)
  endif()
endif()
if(VMR_COVERAGE)
  target_compile_options(vmr_build_flags INTERFACE --coverage)
  target_link_options(vmr_build_flags INTERFACE --coverage)
endif()

# What ships is hardened: a position-independent program (PIE) and libraries whose
# tables of addresses are bound at the start and then write-protected (full RELRO,
# BIND_NOW), a guard word above the arrays of a stack frame, and lengths checked
# in the C library where the compiler knows the room (_FORTIFY_SOURCE). Each is
# asked for: some compilers begin with some of them, Debian's gcc 12 with PIE and with
# RELRO of what is not bound late (partial RELRO).
#
# Not where sanitizers look, whose own checks these would stand in front of, and
# not without optimisation, which _FORTIFY_SOURCE needs.
set(hardened_by_default ON)
if(VMR_SANITIZE OR VMR_COVERAGE OR VMR_BUILD_FUZZ)
  set(hardened_by_default OFF)
endif()
option(VMR_HARDENED "Harden what ships, in optimised builds" ${hardened_by_default})
set(vmr_optimised $<CONFIG:Release,RelWithDebInfo,MinSizeRel>)

# vmr_harden(vmr_store): for this target alone. What a host compiles and links
# with the library keeps the host's own flags.
function(vmr_harden target)
  if(NOT VMR_HARDENED)
    return()
  endif()
  # -U first: a compiler that sets it by itself would warn of another value.
  set(compile_options -fstack-protector-strong -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
  set(link_options -Wl,-z,relro -Wl,-z,now)
  get_target_property(type ${target} TYPE)
  get_target_property(position_independent ${target} POSITION_INDEPENDENT_CODE)
  if(NOT type STREQUAL "SHARED_LIBRARY" AND NOT position_independent)
    list(APPEND compile_options -fPIE)
  endif()
  if(type STREQUAL "EXECUTABLE")
    list(APPEND link_options -pie)
  endif()
  target_compile_options(${target} PRIVATE "$<${vmr_optimised}:${compile_options}>")
  if(NOT type STREQUAL "STATIC_LIBRARY")
    target_link_options(${target} PRIVATE "$<${vmr_optimised}:${link_options}>")
  endif()
endfunction()

# vmr_compile_quickly(vmr_store_tests): for code that waits for the compiler far
# longer than anybody waits for it, such as tests. Optimising takes two thirds of the
# time there, four fifths under sanitizers. What the tests look at, and what runs for
# millions of states, keeps the flags of the build.
function(vmr_compile_quickly target)
  target_compile_options(${target} PRIVATE -O0)
endfunction()

# vmr_precompile(vmr_tool_ring HEADER...): where VMR_PRECOMPILE says so.
function(vmr_precompile target)
  if(VMR_PRECOMPILE)
    target_precompile_headers(${target} PRIVATE ${ARGN})
  endif()
endfunction()

# vmr_add_library(store PUBLIC_HEADERS a.h SOURCES a.cc b.cc DEPENDS vmr_host):
# the folder's one library target, vmr_store here. DEPENDS names the only folders
# below it. PUBLIC_HEADERS makes the folder part of the installed library
# (VmrInstall.cmake) and names what is installed of its headers: what hosts
# include, and what that includes.
function(vmr_add_library folder)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS;PUBLIC_HEADERS" ${ARGN})
  add_library(vmr_${folder} STATIC ${ARG_SOURCES})
  target_link_libraries(vmr_${folder} PUBLIC vmr_build_flags ${ARG_DEPENDS})
  vmr_harden(vmr_${folder})
  if(VMR_COVERAGE)
    # A branch counted is then one of the source: none is merged with another, and
    # no call counts as two, one of which is an exception.
    target_compile_options(vmr_${folder} PRIVATE -O0 -fno-exceptions)
  endif()
  if(ARG_PUBLIC_HEADERS)
    set_property(GLOBAL APPEND PROPERTY VMR_PUBLIC_FOLDERS vmr_${folder})
    set_target_properties(vmr_${folder} PROPERTIES VMR_PUBLIC_HEADERS "${ARG_PUBLIC_HEADERS}")
  endif()
endfunction()
