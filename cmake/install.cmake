# What is installed: the library in both forms, its headers, the CMake package, quorvel.pc, the Python package,
# the tool; and the same as a Debian package or an archive (cpack).
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/quorvel)
set(QUORVEL_PYTHON_DIR lib/python3/dist-packages CACHE STRING "Where the Python package goes, below the prefix")

install(TARGETS quorvel EXPORT quorvelTargets)
install(TARGETS quorvel_static EXPORT quorvelStaticTargets)
install(EXPORT quorvelTargets NAMESPACE quorvel:: DESTINATION ${package_dir})
install(EXPORT quorvelStaticTargets NAMESPACE quorvel:: DESTINATION ${package_dir})
install(DIRECTORY include/quorvel DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN "*.h")
if(EXISTS ${PROJECT_SOURCE_DIR}/python/quorvel)
  install(DIRECTORY python/quorvel DESTINATION ${QUORVEL_PYTHON_DIR} FILES_MATCHING PATTERN "*.py"
          PATTERN __pycache__ EXCLUDE)
endif()
if(TARGET quorvel_tool)
  set_target_properties(quorvel_tool PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
  install(TARGETS quorvel_tool)
endif()

configure_package_config_file(cmake/quorvelConfig.cmake.in ${PROJECT_BINARY_DIR}/quorvelConfig.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/quorvelConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/quorvelConfig.cmake ${PROJECT_BINARY_DIR}/quorvelConfigVersion.cmake
        DESTINATION ${package_dir})

cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig
           OUTPUT_VARIABLE QUORVEL_PC_PREFIX)
configure_file(cmake/quorvel.pc.in ${PROJECT_BINARY_DIR}/quorvel.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/quorvel.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

set(CPACK_GENERATOR TGZ DEB)
set(CPACK_PACKAGE_CONTACT "quorvel developers <quorvel@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION mail)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_SUGGESTS "python3, libssl-dev, libzip-dev")
include(CPack)
