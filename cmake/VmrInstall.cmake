# What `cmake --install` installs, in four components: "library" (the shared
# libraries), "development" (headers, static libraries, what find_package and
# pkg-config look for), "tool" and "fleet".
#
# Two libraries, because the host is the unit's own business: vmr is the
# recorder and the reader, vmr_host the default services behind host/. A program
# links both, or the first and services of its own.
include(CMakePackageConfigHelpers)

# Instrumented code is not shipped, and a unit links statically.
set(shared_by_default ON)
if(CMAKE_CROSSCOMPILING OR VMR_SANITIZE OR VMR_BUILD_FUZZ)
  set(shared_by_default OFF)
endif()
option(VMR_BUILD_SHARED "Build the shared libraries too" ${shared_by_default})

set(VMR_HEADER_DIR ${CMAKE_INSTALL_INCLUDEDIR}/vmr)
set(VMR_CONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/vmr)
set(VMR_PKGCONFIG_DIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(exported_symbols ${PROJECT_SOURCE_DIR}/cmake/exported_symbols.map)

# What the soname and the package's name carry. Until 1.0 a minor version may
# change the interface (one more field in the state mirror changes the size of a
# DataStore), and must not take the place of the one before.
set(VMR_SOVERSION ${PROJECT_VERSION_MAJOR})
if(PROJECT_VERSION_MAJOR EQUAL 0)
  set(VMR_SOVERSION 0.${PROJECT_VERSION_MINOR})
endif()

# What a program must be compiled with: on 32-bit machines the sizes of off_t,
# time_t and struct stat are part of the library's interface. The pkg-config
# files say the same.
set(VMR_INTERFACE_DEFINITIONS _FILE_OFFSET_BITS=64 _TIME_BITS=64)

function(vmr_set_interface target export_name)
  target_include_directories(${target} INTERFACE $<INSTALL_INTERFACE:${VMR_HEADER_DIR}>)
  target_compile_definitions(${target} INTERFACE ${VMR_INTERFACE_DEFINITIONS})
  target_compile_features(${target} INTERFACE cxx_std_17)
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${export_name})
endfunction()

# The static library is made of the objects that the tests are linked with.
function(vmr_install_static name export_name folders)
  list(TRANSFORM folders REPLACE "(.+)" "$<TARGET_OBJECTS:\\1>" OUTPUT_VARIABLE objects)
  add_library(${name}_static STATIC ${objects})
  set_target_properties(${name}_static PROPERTIES OUTPUT_NAME ${name} LINKER_LANGUAGE CXX
    ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
  vmr_set_interface(${name}_static ${export_name}_static)
  install(TARGETS ${name}_static EXPORT vmrTargets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
endfunction()

# The shared library is compiled apart, so that position-independent code costs
# those who link statically nothing.
function(vmr_install_shared name export_name folders)
  set(sources "")
  foreach(folder IN LISTS folders)
    get_target_property(folder_sources ${folder} SOURCES)
    get_target_property(folder_dir ${folder} SOURCE_DIR)
    list(TRANSFORM folder_sources PREPEND ${folder_dir}/)
    list(APPEND sources ${folder_sources})
  endforeach()
  add_library(${name}_shared SHARED ${sources})
  target_link_libraries(${name}_shared PRIVATE vmr_build_flags)
  vmr_harden(${name}_shared)
  target_link_options(${name}_shared PRIVATE -Wl,--version-script=${exported_symbols})
  set_target_properties(${name}_shared PROPERTIES OUTPUT_NAME ${name}
    VERSION ${PROJECT_VERSION} SOVERSION ${VMR_SOVERSION}
    LINK_DEPENDS ${exported_symbols} LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
  vmr_set_interface(${name}_shared ${export_name})
  install(TARGETS ${name}_shared EXPORT vmrTargets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
      COMPONENT library NAMELINK_COMPONENT development)
endfunction()

# Headers keep their folders, so that "store/data_store.h" is found in the
# installed directory as it is in the sources.
function(vmr_install_headers folder)
  get_target_property(headers ${folder} VMR_PUBLIC_HEADERS)
  get_target_property(folder_dir ${folder} SOURCE_DIR)
  file(RELATIVE_PATH folder_name ${PROJECT_SOURCE_DIR} ${folder_dir})
  foreach(header IN LISTS headers)
    get_filename_component(sub_dir ${folder_name}/${header} DIRECTORY)
    install(FILES ${folder_dir}/${header} DESTINATION ${VMR_HEADER_DIR}/${sub_dir}
      COMPONENT development)
  endforeach()
endfunction()

# A path that pkg-config finds wherever the tree was installed or moved to.
function(vmr_install_pkgconfig name)
  file(RELATIVE_PATH VMR_PREFIX_FROM_PKGCONFIG
    ${CMAKE_INSTALL_PREFIX}/${VMR_PKGCONFIG_DIR} ${CMAKE_INSTALL_PREFIX})
  string(REGEX REPLACE "/$" "" VMR_PREFIX_FROM_PKGCONFIG "${VMR_PREFIX_FROM_PKGCONFIG}")
  list(TRANSFORM VMR_INTERFACE_DEFINITIONS PREPEND "-D" OUTPUT_VARIABLE VMR_PC_DEFINITIONS)
  list(JOIN VMR_PC_DEFINITIONS " " VMR_PC_DEFINITIONS)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${VMR_PKGCONFIG_DIR}
    COMPONENT development)
endfunction()

function(vmr_install_library name export_name pkgconfig_name)
  set(folders ${ARGN})
  vmr_install_static(${name} ${export_name} "${folders}")
  if(VMR_BUILD_SHARED)
    vmr_install_shared(${name} ${export_name} "${folders}")
  endif()
  foreach(folder IN LISTS folders)
    vmr_install_headers(${folder})
  endforeach()
  vmr_install_pkgconfig(${pkgconfig_name})
endfunction()

get_property(folders GLOBAL PROPERTY VMR_PUBLIC_FOLDERS)
list(REMOVE_ITEM folders vmr_host)
vmr_install_library(vmr vmr vmr ${folders})
if(VMR_HOST_TARGET STREQUAL "vmr_host")
  vmr_install_library(vmr_host host vmr-host vmr_host)
endif()

install(EXPORT vmrTargets NAMESPACE vmr:: DESTINATION ${VMR_CONFIG_DIR} COMPONENT development)
# Before 1.0 a minor version may change the interface.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vmrConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_SOURCE_DIR}/cmake/vmrConfig.cmake
  ${PROJECT_BINARY_DIR}/vmrConfigVersion.cmake
  DESTINATION ${VMR_CONFIG_DIR} COMPONENT development)

if(TARGET vmr_tool)
  install(TARGETS vmr_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
  # The program finds its parts beside bin/, wherever that is.
  install(PROGRAMS ${PROJECT_SOURCE_DIR}/tools/fleet/vmr-fleet
    DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT fleet)
  file(GLOB fleet_parts CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tools/fleet/vmr_fleet/*.py)
  install(FILES ${fleet_parts} DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/vmr-fleet/vmr_fleet
    COMPONENT fleet)
endif()
