# cpack runs this on the tree that it is about to pack: folders are open to all,
# whatever umask the packages are made under.
cmake_policy(VERSION 3.25)
file(GLOB_RECURSE folders LIST_DIRECTORIES ON "${CPACK_TEMPORARY_DIRECTORY}/*")
foreach(folder IN LISTS folders)
  if(IS_DIRECTORY "${folder}" AND NOT IS_SYMLINK "${folder}")
    file(CHMOD "${folder}" PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
      GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  endif()
endforeach()
