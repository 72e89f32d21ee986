# quorvel_bench: built on demand only (./dev bench). The peers it is measured beside are optional: each one that
# is found is linked and defines QUORVEL_HAVE_<PEER>.
file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/bench/*.cc)
find_package(benchmark QUIET)
if(NOT sources OR NOT benchmark_FOUND)
  return()
endif()

add_executable(quorvel_bench EXCLUDE_FROM_ALL ${sources})
set_target_properties(quorvel_bench PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
target_include_directories(quorvel_bench PRIVATE ${PROJECT_SOURCE_DIR}/tools)
target_compile_options(quorvel_bench PRIVATE ${QUORVEL_WARNINGS})
target_link_libraries(quorvel_bench PRIVATE qv_api quorvel_mail_server benchmark::benchmark_main)

pkg_check_modules(GMIME QUIET IMPORTED_TARGET gmime-3.0)
pkg_check_modules(CURL QUIET IMPORTED_TARGET libcurl)
foreach(peer GMIME CURL)
  if(${peer}_FOUND)
    target_link_libraries(quorvel_bench PRIVATE PkgConfig::${peer})
    target_compile_definitions(quorvel_bench PRIVATE QUORVEL_HAVE_${peer})
  endif()
endforeach()
find_library(MIMETIC_LIBRARY mimetic)  # has no pkg-config file
if(MIMETIC_LIBRARY)
  target_link_libraries(quorvel_bench PRIVATE ${MIMETIC_LIBRARY})
  target_compile_definitions(quorvel_bench PRIVATE QUORVEL_HAVE_MIMETIC)
endif()
