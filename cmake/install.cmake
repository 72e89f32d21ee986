# What is installed: the library in both forms, its headers, the CMake package, quorvel.pc, the Python package,
# the tool. Each component is a package of its own: see packages.cmake.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/quorvel)
set(QUORVEL_PYTHON_DIR lib/python3/dist-packages CACHE STRING "Where the Python package goes, below the prefix")

install(TARGETS quorvel EXPORT quorvelTargets LIBRARY COMPONENT library NAMELINK_COMPONENT dev)
install(TARGETS quorvel_static EXPORT quorvelStaticTargets ARCHIVE COMPONENT dev)
install(EXPORT quorvelTargets NAMESPACE quorvel:: DESTINATION ${package_dir} COMPONENT dev)
install(EXPORT quorvelStaticTargets NAMESPACE quorvel:: DESTINATION ${package_dir} COMPONENT dev)
install(DIRECTORY include/quorvel DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev FILES_MATCHING PATTERN "*.h")
install(DIRECTORY python/quorvel DESTINATION ${QUORVEL_PYTHON_DIR} COMPONENT python FILES_MATCHING PATTERN "*.py"
        PATTERN __pycache__ EXCLUDE)
if(TARGET quorvel_tool)
  if(NOT CMAKE_INSTALL_PREFIX STREQUAL "/usr")  # where the loader looks by itself
    set_target_properties(quorvel_tool PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
  endif()
  install(TARGETS quorvel_tool RUNTIME COMPONENT tools)
endif()

configure_package_config_file(cmake/quorvelConfig.cmake.in ${PROJECT_BINARY_DIR}/quorvelConfig.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/quorvelConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/quorvelConfig.cmake ${PROJECT_BINARY_DIR}/quorvelConfigVersion.cmake
        DESTINATION ${package_dir} COMPONENT dev)

cmake_path(RELATIVE_PATH CMAKE_INSTALL_PREFIX BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig
           OUTPUT_VARIABLE QUORVEL_PC_PREFIX)
configure_file(cmake/quorvel.pc.in ${PROJECT_BINARY_DIR}/quorvel.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/quorvel.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)
