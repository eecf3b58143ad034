# What `cmake --install` puts where. The Debian packages (debian/) take their files from there.
include(CMakePackageConfigHelpers)

install(TARGETS vantryd vantry vantry-gateway RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS prn LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})

# The client library: an archive, its headers, a CMake package and a pkg-config file.
install(TARGETS vantry_client vantry_describe EXPORT vantry ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
set(VANTRY_CLIENT_HEADERS endpoint event_queue hub owners property result)
list(TRANSFORM VANTRY_CLIENT_HEADERS PREPEND ${PROJECT_SOURCE_DIR}/src/client/)
list(TRANSFORM VANTRY_CLIENT_HEADERS APPEND .h)
install(FILES ${VANTRY_CLIENT_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vantry/client)
install(FILES src/runtime/result.h src/runtime/hub_port.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vantry/runtime)
install(FILES src/describe/description.h src/describe/descriptions.h
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vantry/describe)
install(DIRECTORY packaging/properties.d DESTINATION ${CMAKE_INSTALL_DATADIR}/vantry)
set(VANTRY_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/vantry)
install(EXPORT vantry NAMESPACE vantry:: FILE vantry-targets.cmake DESTINATION ${VANTRY_CMAKE_DIR})
file(WRITE ${PROJECT_BINARY_DIR}/vantry-config.cmake
  "include(CMakeFindDependencyMacro)\nfind_dependency(Threads)\n"
  "include(\${CMAKE_CURRENT_LIST_DIR}/vantry-targets.cmake)\n")
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vantry-config-version.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/vantry-config.cmake
  ${PROJECT_BINARY_DIR}/vantry-config-version.cmake DESTINATION ${VANTRY_CMAKE_DIR})
# Relative to the file itself, so that an installation can be moved, and made with any --prefix.
file(RELATIVE_PATH VANTRY_PKGCONFIG_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(packaging/vantry-client.pc.in vantry-client.pc @ONLY)
configure_file(packaging/vantry-describe.pc.in vantry-describe.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vantry-client.pc ${PROJECT_BINARY_DIR}/vantry-describe.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The service, its user and its directories. System paths don't follow the prefix.
set(VANTRY_SYSTEM_LIBDIR lib)
install(FILES packaging/systemd/vantryd.service packaging/systemd/vantry-gateway.service
  packaging/systemd/vantry-recorder.service
  DESTINATION ${VANTRY_SYSTEM_LIBDIR}/systemd/system)
install(TARGETS vantry-bridge vantry-fleet RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES packaging/systemd/vantry-bridge.service
  DESTINATION ${VANTRY_SYSTEM_LIBDIR}/systemd/system)
install(FILES packaging/limits packaging/bridge.conf DESTINATION /etc/vantry)
install(FILES packaging/default/vantry DESTINATION /etc/default)
install(FILES packaging/systemd/vantry.sysusers
  DESTINATION ${VANTRY_SYSTEM_LIBDIR}/sysusers.d RENAME vantry.conf)
install(FILES packaging/systemd/vantry.tmpfiles
  DESTINATION ${VANTRY_SYSTEM_LIBDIR}/tmpfiles.d RENAME vantry.conf)

install(FILES wireshark/vantry.lua DESTINATION ${CMAKE_INSTALL_LIBDIR}/wireshark/plugins)
install(FILES packaging/man/vantry.1 packaging/man/vantry-fleet.1
  DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
install(DIRECTORY packaging/prometheus DESTINATION ${CMAKE_INSTALL_DATADIR}/vantry)
install(FILES packaging/man/vantryd.8 packaging/man/vantry-bridge.8 packaging/man/vantry-gateway.8
  DESTINATION ${CMAKE_INSTALL_MANDIR}/man8)
foreach(program vantry vantry-fleet)
  install(FILES packaging/completions/${program}.bash
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME ${program})
  install(FILES packaging/completions/_${program}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
  install(FILES packaging/completions/${program}.fish
    DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
endforeach()

# The documents, placed to each other as in the sources, so that their links lead somewhere.
install(FILES README.md CHANGELOG.md CONTRIBUTING.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs examples DESTINATION ${CMAKE_INSTALL_DOCDIR} PATTERN CMakeLists.txt EXCLUDE)
install(DIRECTORY python/examples DESTINATION ${CMAKE_INSTALL_DOCDIR}/python
  PATTERN __pycache__ EXCLUDE)
