# libquorvel.so and libquorvel.a: all rooms together, compiled once.
set(objects)
foreach(room IN LISTS QUORVEL_ROOMS)
  list(APPEND objects $<TARGET_OBJECTS:qv_${room}>)
endforeach()

add_library(quorvel SHARED ${objects})
add_library(quorvel_static STATIC ${objects})
set_target_properties(quorvel PROPERTIES
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR}
  LINK_DEPENDS ${PROJECT_SOURCE_DIR}/cmake/quorvel.map)
set_target_properties(quorvel_static PROPERTIES OUTPUT_NAME quorvel)

foreach(library quorvel quorvel_static)
  set_target_properties(${library} PROPERTIES LINKER_LANGUAGE CXX)
  add_library(quorvel::${library} ALIAS ${library})
  target_compile_features(${library} INTERFACE cxx_std_20)
  target_include_directories(${library} INTERFACE
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_link_libraries(${library} PRIVATE OpenSSL::Crypto PkgConfig::LIBZIP Threads::Threads)
endforeach()

target_link_options(quorvel PRIVATE
  -Wl,--version-script=${PROJECT_SOURCE_DIR}/cmake/quorvel.map -Wl,--exclude-libs,ALL)
# A sanitizer's run-time is bound by the program, not by the library.
if(NOT "${CMAKE_CXX_FLAGS} ${CMAKE_CXX_FLAGS_DEBUG}" MATCHES "-fsanitize")
  target_link_options(quorvel PRIVATE -Wl,--no-undefined)
endif()
