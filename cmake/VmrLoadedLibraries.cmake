# Libraries that the program loads itself and is not linked with, since few commands need
# them: libgps (tools/record/libgps.h), libzip and libcrypto (tools/evidence/).
#
# vmr_find_loaded_library(LIBGPS libgps gps gps.h) sets
#   VMR_LIBGPS_INCLUDE_DIR  where its gps.h is
#   VMR_LIBGPS_SONAME       what it is loaded by, such as libgps.so.28: it stands for the
#                           functions and structures as that gps.h declares them
#   VMR_LIBGPS_PACKAGE      Debian's package that brings it, such as libgps28
#
# Empty or NOTFOUND where it is not there, or only as a static library.
find_program(VMR_DPKG_QUERY dpkg-query)
mark_as_advanced(VMR_DPKG_QUERY)

function(vmr_find_loaded_library prefix module name header)
  if(PkgConfig_FOUND)
    pkg_check_modules(${module} QUIET ${module})
  endif()
  find_path(VMR_${prefix}_INCLUDE_DIR ${header} HINTS ${${module}_INCLUDEDIR})
  find_library(VMR_${prefix} ${name} HINTS ${${module}_LIBDIR})
  mark_as_advanced(VMR_${prefix}_INCLUDE_DIR VMR_${prefix})

  set(soname "")
  set(package "")
  if(VMR_${prefix})
    execute_process(COMMAND ${CMAKE_OBJDUMP} -p ${VMR_${prefix}}
      OUTPUT_VARIABLE headers ERROR_QUIET)
    if(headers MATCHES "SONAME +([^ \n]+)")
      set(soname ${CMAKE_MATCH_1})
    endif()

    # By the list of packages, as not every name follows from the soname (libgps30t64).
    # Where there is none, as most names do.
    string(REGEX REPLACE "\\.so\\.?" "" package "${soname}")
    file(REAL_PATH ${VMR_${prefix}} file)
    if(VMR_DPKG_QUERY)
      execute_process(COMMAND ${VMR_DPKG_QUERY} -S ${file} OUTPUT_VARIABLE owner ERROR_QUIET)
      if(owner MATCHES "^([a-z0-9.+-]+)[:,]")
        set(package ${CMAKE_MATCH_1})
      endif()
    endif()
  endif()
  set(VMR_${prefix}_SONAME ${soname} PARENT_SCOPE)
  set(VMR_${prefix}_PACKAGE ${package} PARENT_SCOPE)
endfunction()

vmr_find_loaded_library(LIBGPS libgps gps gps.h)
vmr_find_loaded_library(LIBZIP libzip zip zip.h)
vmr_find_loaded_library(LIBCRYPTO libcrypto crypto openssl/ts.h)
