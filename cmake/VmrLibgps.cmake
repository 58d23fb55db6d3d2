# libgps, which the program loads itself and is not linked with (tools/record/libgps.h).
#
#   VMR_LIBGPS_INCLUDE_DIR  where its gps.h is
#   VMR_LIBGPS_SONAME       what it is loaded by, such as libgps.so.28: it stands for the
#                           functions and structures as that gps.h declares them
#   VMR_LIBGPS_PACKAGE      Debian's package that brings it, such as libgps28
#
# Empty or NOTFOUND where it is not there, or only as a static library.
if(PkgConfig_FOUND)
  pkg_check_modules(libgps QUIET libgps)
endif()
find_path(VMR_LIBGPS_INCLUDE_DIR gps.h HINTS ${libgps_INCLUDEDIR})
find_library(VMR_LIBGPS gps HINTS ${libgps_LIBDIR})
mark_as_advanced(VMR_LIBGPS_INCLUDE_DIR VMR_LIBGPS)

set(VMR_LIBGPS_SONAME "")
set(VMR_LIBGPS_PACKAGE "")
if(VMR_LIBGPS)
  execute_process(COMMAND ${CMAKE_OBJDUMP} -p ${VMR_LIBGPS} OUTPUT_VARIABLE headers ERROR_QUIET)
  if(headers MATCHES "SONAME +([^ \n]+)")
    set(VMR_LIBGPS_SONAME ${CMAKE_MATCH_1})
  endif()

  # By the list of packages, as not every name follows from the soname (libgps30t64).
  # Where there is none, as most names do.
  string(REGEX REPLACE "\\.so\\.?" "" VMR_LIBGPS_PACKAGE "${VMR_LIBGPS_SONAME}")
  find_program(VMR_DPKG_QUERY dpkg-query)
  mark_as_advanced(VMR_DPKG_QUERY)
  file(REAL_PATH ${VMR_LIBGPS} file)
  if(VMR_DPKG_QUERY)
    execute_process(COMMAND ${VMR_DPKG_QUERY} -S ${file} OUTPUT_VARIABLE owner ERROR_QUIET)
    if(owner MATCHES "^([a-z0-9.+-]+)[:,]")
      set(VMR_LIBGPS_PACKAGE ${CMAKE_MATCH_1})
    endif()
  endif()
endif()
