# Libraries that are installed and called.
find_package(Threads REQUIRED)

find_path(RAPIDJSON_INCLUDE_DIR rapidjson/document.h REQUIRED NO_CMAKE_FIND_ROOT_PATH)
add_library(rapidjson INTERFACE)
add_library(system_support INTERFACE)
add_library(sqlite INTERFACE)

find_path(UTFCPP_INCLUDE_DIR utf8.h PATH_SUFFIXES utf8cpp NO_CMAKE_FIND_ROOT_PATH REQUIRED)
add_library(utfcpp INTERFACE)
target_include_directories(utfcpp SYSTEM INTERFACE ${UTFCPP_INCLUDE_DIR})

# The desk page alone needs it, and a gateway can be built without.
find_path(BOOST_INCLUDE_DIR boost/beast.hpp NO_CMAKE_FIND_ROOT_PATH)
add_library(boost INTERFACE)

if(WIN32)
  # The folder that it is installed in holds the headers of another system as well.
  set(RAPIDJSON_ALONE ${CMAKE_BINARY_DIR}/rapidjson-alone)
  file(MAKE_DIRECTORY ${RAPIDJSON_ALONE})
  file(CREATE_LINK ${RAPIDJSON_INCLUDE_DIR}/rapidjson ${RAPIDJSON_ALONE}/rapidjson SYMBOLIC)
  target_include_directories(rapidjson SYSTEM INTERFACE ${RAPIDJSON_ALONE})
  set(BOOST_ALONE ${CMAKE_BINARY_DIR}/boost-alone)
  file(MAKE_DIRECTORY ${BOOST_ALONE})
  file(CREATE_LINK ${BOOST_INCLUDE_DIR}/boost ${BOOST_ALONE}/boost SYMBOLIC)
  target_include_directories(boost SYSTEM INTERFACE ${BOOST_ALONE})
  target_link_libraries(boost INTERFACE ws2_32 mswsock)

  if(DEFINED ENV{HALVANE_DEPS})
    set(HALVANE_DEPS_DEFAULT $ENV{HALVANE_DEPS})
  else()
    set(HALVANE_DEPS_DEFAULT $ENV{HOME}/.cache/halvane/windows)
  endif()
  set(HALVANE_DEPS ${HALVANE_DEPS_DEFAULT} CACHE PATH "Libraries that were built for Windows")
  if(NOT EXISTS ${HALVANE_DEPS}/libzmq/lib/libzmq.a)
    message(FATAL_ERROR "No libzmq in ${HALVANE_DEPS}: run cmake/build-libzmq-windows.sh")
  endif()
  add_library(libzmq STATIC IMPORTED)
  set_target_properties(libzmq PROPERTIES IMPORTED_LOCATION ${HALVANE_DEPS}/libzmq/lib/libzmq.a)
  target_include_directories(libzmq SYSTEM INTERFACE ${HALVANE_DEPS}/libzmq/include)
  target_compile_definitions(libzmq INTERFACE ZMQ_STATIC)
  target_link_libraries(libzmq INTERFACE ws2_32 iphlpapi advapi32)

  if(NOT EXISTS ${HALVANE_DEPS}/sqlite/lib/libsqlite3.a)
    message(FATAL_ERROR "No SQLite in ${HALVANE_DEPS}: run cmake/build-sqlite-windows.sh")
  endif()
  target_include_directories(sqlite SYSTEM INTERFACE ${HALVANE_DEPS}/sqlite/include)
  target_link_libraries(sqlite INTERFACE ${HALVANE_DEPS}/sqlite/lib/libsqlite3.a)

  target_link_libraries(system_support INTERFACE bcrypt version)
else()
  target_include_directories(rapidjson SYSTEM INTERFACE ${RAPIDJSON_INCLUDE_DIR})
  target_include_directories(boost SYSTEM INTERFACE ${BOOST_INCLUDE_DIR})

  find_package(PkgConfig REQUIRED)
  pkg_check_modules(zmq REQUIRED IMPORTED_TARGET libzmq)
  pkg_check_modules(md REQUIRED IMPORTED_TARGET libmd)
  pkg_check_modules(sqlite3 REQUIRED IMPORTED_TARGET sqlite3)
  pkg_check_modules(nats IMPORTED_TARGET libnats) # the relay alone needs it
  add_library(libzmq ALIAS PkgConfig::zmq)
  target_link_libraries(sqlite INTERFACE PkgConfig::sqlite3)
  target_link_libraries(system_support INTERFACE PkgConfig::md)
endif()
