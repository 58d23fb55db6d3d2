# find_package(vmr) defines
#
#   vmr::vmr   the recorder and the reader
#   vmr::host  the default services behind host/, for any Linux machine; a
#              program may bring its own instead
#
# shared if that was built, and both as static libraries, vmr::vmr_static and
# vmr::host_static. List vmr first: static libraries are searched in that order.

# Through a link such as /lib to /usr/lib, the targets would look for headers
# under the wrong prefix.
get_filename_component(vmr_config_dir "${CMAKE_CURRENT_LIST_DIR}" REALPATH)
include("${vmr_config_dir}/vmrTargets.cmake")
unset(vmr_config_dir)

foreach(library vmr host)
  if(TARGET vmr::${library}_static AND NOT TARGET vmr::${library})
    add_library(vmr::${library} ALIAS vmr::${library}_static)
  endif()
  if(TARGET vmr::${library})
    set(vmr_${library}_FOUND TRUE)
  endif()
endforeach()

foreach(component IN LISTS vmr_FIND_COMPONENTS)
  if(vmr_FIND_REQUIRED_${component} AND NOT vmr_${component}_FOUND)
    set(vmr_FOUND FALSE)
    set(vmr_NOT_FOUND_MESSAGE "vmr was installed without \"${component}\"")
  endif()
endforeach()
