# The loopback mail server for the demonstration and the tests (over the lowest floors), and the command-line tool `quorvel`.
file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tools/mail_server/*.cc)
if(sources)
  add_library(quorvel_mail_server STATIC ${sources})
  target_include_directories(quorvel_mail_server PUBLIC ${PROJECT_SOURCE_DIR}/tools)
  target_compile_options(quorvel_mail_server PRIVATE ${QUORVEL_WARNINGS})
  target_link_libraries(quorvel_mail_server PUBLIC qv_core)
else()
  add_library(quorvel_mail_server INTERFACE)
endif()

# The tool is a host like any other: it sees the public headers and the shared library only.
file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/tools/quorvel/*.cc)
find_package(CLI11 QUIET)
if(sources AND CLI11_FOUND)
  add_executable(quorvel_tool ${sources})
  set_target_properties(quorvel_tool PROPERTIES
    OUTPUT_NAME quorvel
    # The command-line library is one large header: read once for a dozen sources, it is not what a newcomer's
    # first build waits for.
    UNITY_BUILD ON
    UNITY_BUILD_BATCH_SIZE 12
    RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
  target_include_directories(quorvel_tool PRIVATE ${PROJECT_SOURCE_DIR}/tools)
  # What the tool takes long for, the library does.
  target_compile_options(quorvel_tool PRIVATE ${QUORVEL_WARNINGS} $<$<CONFIG:Release>:-O1>)
  target_link_libraries(quorvel_tool PRIVATE quorvel::quorvel quorvel_mail_server CLI11::CLI11)
elseif(sources)
  message(STATUS "CLI11 not found: the command-line tool is left out")
endif()
