# `cmake --install`: the libraries, their public headers under include/ecckey/ (so that
# #include "ecc/EccKey.h" works with that include root), the tool, a CMake package giving
# ecckey::ecckey (and ecckey::keyfile when it was built) to find_package(ecckey), and
# pkg-config files. The engines' and the layers' internal headers stay in the build tree: what
# is installed is what a user may rely on.

include(CMakePackageConfigHelpers)

install(TARGETS ecckey EXPORT ecckeyTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
set(ECCKEY_WITH_KEYFILE OFF)
if(TARGET ecckey_keyfile)
  set(ECCKEY_WITH_KEYFILE ON)
  install(TARGETS ecckey_keyfile EXPORT ecckeyTargets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()

set(ECCKEY_INSTALLED_HEADERS ${ECCKEY_PUBLIC_HEADERS})
if(ECCKEY_WITH_KEYFILE)
  list(APPEND ECCKEY_INSTALLED_HEADERS ${ECCKEY_KEYFILE_PUBLIC_HEADERS})
endif()
foreach(header IN LISTS ECCKEY_INSTALLED_HEADERS)
  get_filename_component(dir ${header} DIRECTORY)
  install(FILES ${PROJECT_SOURCE_DIR}/${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/ecckey/${dir})
endforeach()

if(TARGET ecckey_tool)
  install(TARGETS ecckey_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

set(ECCKEY_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/ecckey)
install(EXPORT ecckeyTargets NAMESPACE ecckey:: DESTINATION ${ECCKEY_CMAKE_DIR})
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/ecckeyConfig.cmake.in
  ${PROJECT_BINARY_DIR}/ecckeyConfig.cmake INSTALL_DESTINATION ${ECCKEY_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ecckeyConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ecckeyConfig.cmake ${PROJECT_BINARY_DIR}/ecckeyConfigVersion.cmake
  DESTINATION ${ECCKEY_CMAKE_DIR})

# The .pc file finds the prefix from its own location, so the tree works wherever
# `cmake --install --prefix` puts it.
file(RELATIVE_PATH ECCKEY_PC_TO_PREFIX /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(${PROJECT_SOURCE_DIR}/cmake/ecckey.pc.in ${PROJECT_BINARY_DIR}/ecckey.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/ecckey.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
if(ECCKEY_WITH_KEYFILE)
  # The archive is static: its libraries are required outright, so --libs gives them without --static.
  configure_file(${PROJECT_SOURCE_DIR}/cmake/ecckey-keyfile.pc.in ${PROJECT_BINARY_DIR}/ecckey-keyfile.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/ecckey-keyfile.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endif()
