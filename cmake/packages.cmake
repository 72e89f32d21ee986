# The Debian packages, one per component (cpack). The preset `package` builds for them: below /usr, where the library
# stands in the directory of its architecture.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT "quorvel developers <quorvel@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS  # whatever the umask of who packs
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has its own

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE quorvel)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)  # on exactly the version that was built with it

# quorvel_package(component name section synopsis text [depends]): the Debian package of a component.
function(quorvel_package component name section synopsis text)
  string(TOUPPER ${component} COMPONENT)
  set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_NAME ${name} PARENT_SCOPE)
  set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_SECTION ${section} PARENT_SCOPE)
  set(CPACK_DEBIAN_${COMPONENT}_PACKAGE_DEPENDS "${ARGN}" PARENT_SCOPE)
  set(CPACK_DEBIAN_${COMPONENT}_DESCRIPTION "${synopsis}\n${text}" PARENT_SCOPE)
  if(NOT component STREQUAL library)
    set(CPACK_COMPONENT_${COMPONENT}_DEPENDS library PARENT_SCOPE)
  endif()
endfunction()

quorvel_package(library libquorvel libs
  "in-process e-mail component (shared library)"
  "Composes e-mail and sends it over SMTP, receives over POP3 and reads what\n\
was received, signs and encrypts (S/MIME); for hosts in C++, C and any\n\
language that can call C.")
# pkg-config reads the .pc files of what the library links, and its static form links their libraries.
quorvel_package(dev libquorvel-dev libdevel
  "in-process e-mail component (development files)"
  "Headers, the static library, the CMake package and the pkg-config file of\n\
libquorvel."
  "libssl-dev, libzip-dev")
quorvel_package(tools quorvel-tools mail
  "in-process e-mail component (command-line tool)"
  "The program quorvel: sends, receives, shows and converts e-mail, and serves\n\
SMTP and POP3 on this machine for trying.")
quorvel_package(python python3-quorvel python
  "in-process e-mail component (Python package)"
  "The objects of libquorvel in Python, over its C functions."
  "python3 (>= 3.9)")

set(CPACK_DEBIAN_LIBRARY_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/libquorvel/triggers)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA
  ${PROJECT_SOURCE_DIR}/cmake/debian/python3-quorvel/postinst ${PROJECT_SOURCE_DIR}/cmake/debian/python3-quorvel/prerm)
include(CPack)
