# The Debian packages that `cpack` makes of the components of VmrInstall.cmake:
# libvmr<soversion> (both shared libraries), libvmr-dev, vmr, vmr-fleet.
#
# The program is linked statically: it then is what the tests have run, and can
# be copied to a machine without the library.
#
# Libraries go to /usr/lib. Configured with CMAKE_INSTALL_PREFIX=/usr they go to
# the folder of the machine's architecture, /usr/lib/x86_64-linux-gnu for one, as
# packages need that are to be installed for two architectures side by side.

set(library_package libvmr${VMR_SOVERSION})
find_program(VMR_GZIP gzip REQUIRED)

# vmr_install_gzipped(docs/vmr.1 vmr.1.gz DIR COMPONENT)
function(vmr_install_gzipped source name destination component)
  set(packed ${PROJECT_BINARY_DIR}/packaging/${name})
  string(MAKE_C_IDENTIFIER "vmr_gzip_${component}_${name}" target)
  add_custom_command(OUTPUT ${packed}.${component}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/packaging
    COMMAND ${VMR_GZIP} -9nc ${PROJECT_SOURCE_DIR}/${source} > ${packed}.${component}
    DEPENDS ${PROJECT_SOURCE_DIR}/${source} VERBATIM)
  add_custom_target(${target} ALL DEPENDS ${packed}.${component})
  install(FILES ${packed}.${component} RENAME ${name} DESTINATION ${destination}
    COMPONENT ${component})
endfunction()

# vmr_add_package(COMPONENT PACKAGE SECTION SUMMARY DOCUMENT...): the component's
# package, with its licence, its changes (the packages' and the program's) and some
# documents.
function(vmr_add_package component package section summary)
  set(doc_dir ${CMAKE_INSTALL_DATAROOTDIR}/doc/${package})
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/copyright DESTINATION ${doc_dir}
    COMPONENT ${component})
  vmr_install_gzipped(packaging/changelog changelog.gz ${doc_dir} ${component})
  vmr_install_gzipped(CHANGELOG.md CHANGELOG.md.gz ${doc_dir} ${component})
  foreach(document IN LISTS ARGN)
    install(FILES ${PROJECT_SOURCE_DIR}/${document} DESTINATION ${doc_dir} COMPONENT ${component})
  endforeach()

  string(TOUPPER ${component} upper)
  set(CPACK_COMPONENTS_ALL ${CPACK_COMPONENTS_ALL} ${component} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_NAME ${package} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${upper}_DESCRIPTION "${summary}\n${CPACK_PACKAGE_DESCRIPTION}" PARENT_SCOPE)
endfunction()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vmr)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGE_CONTACT "Vehicle Metadata Recorder maintainers <maintainers@vmr.invalid>"
  CACHE STRING "Maintainer field of the packages")
set(CPACK_PACKAGE_DESCRIPTION
"Records what happens in a vehicle beside the video: position, speed, inputs,
cameras, microphones, who drives. Only changes are written, into a ring of two
mirrored files that survives losing power at any moment.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/triggers)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/package_permissions.cmake)

if(CMAKE_CROSSCOMPILING)
  # The tools that read architecture and dependencies look at this machine's.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS OFF)
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${CMAKE_SYSTEM_PROCESSOR})
  if(CMAKE_SYSTEM_PROCESSOR STREQUAL "ppc")
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE powerpc)
  endif()
  set(CPACK_DEBIAN_LIBRARY_PACKAGE_DEPENDS "libc6, libgcc-s1, libstdc++6")
endif()

if(VMR_BUILD_SHARED)
  vmr_add_package(library ${library_package} libs "Vehicle Metadata Recorder: shared libraries")
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${library_package} (= ${PROJECT_VERSION})")
endif()
vmr_add_package(development libvmr-dev libdevel
  "Vehicle Metadata Recorder: headers and static libraries"
  docs/architecture.md docs/format.md docs/integrating.md docs/performance.md)
if(TARGET vmr_tool)
  vmr_add_package(tool vmr utils "Vehicle Metadata Recorder: the program vmr"
    docs/check.md docs/cookbook.md docs/events.md docs/events.schema.json docs/evidence.md
    docs/redaction.md docs/reliability.md docs/report.png)
  # What the program loads itself: dpkg-shlibdeps, which adds the rest, sees what is linked.
  get_target_property(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS vmr_tool VMR_LOADED_PACKAGES)
  file(GLOB schemas CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/schema/*)
  install(FILES ${schemas} DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/vmr/schema COMPONENT tool)
  # Without what `npm ci` installs there, which is of one machine's kind.
  install(FILES ${PROJECT_SOURCE_DIR}/tools/lake/write_parquet.mjs
    ${PROJECT_SOURCE_DIR}/tools/lake/package.json ${PROJECT_SOURCE_DIR}/tools/lake/package-lock.json
    ${PROJECT_SOURCE_DIR}/tools/lake/README.md
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/vmr/lake COMPONENT tool)
  vmr_install_gzipped(docs/vmr.1 vmr.1.gz ${CMAKE_INSTALL_MANDIR}/man1 tool)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/vmr.bash-completion RENAME vmr
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/bash-completion/completions COMPONENT tool)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/vmr-record@.service
    DESTINATION lib/systemd/system COMPONENT tool)

  # Python, the same for every machine.
  vmr_add_package(fleet vmr-fleet utils "Vehicle Metadata Recorder: lakes of many recordings"
    docs/fleet.md)
  set(CPACK_DEBIAN_FLEET_PACKAGE_ARCHITECTURE all)
  set(CPACK_DEBIAN_FLEET_PACKAGE_SHLIBDEPS OFF)
  set(CPACK_DEBIAN_FLEET_PACKAGE_DEPENDS
    "vmr (>= ${PROJECT_VERSION}), python3 (>= 3.9), python3-distributed")
  vmr_install_gzipped(docs/vmr-fleet.1 vmr-fleet.1.gz ${CMAKE_INSTALL_MANDIR}/man1 fleet)
endif()
include(CPack)
