# Libraries of the outlets, the tools and the tests: none of them is part of the server's core.
#
# CLI11 and nlohmann-json are headers only. They are reached through a folder of links, so that a
# cross build never sees the other headers of the machine that builds it.
find_path(TARN_CLI11_DIR CLI/CLI.hpp NO_CMAKE_FIND_ROOT_PATH PATHS /usr/include REQUIRED)
find_path(TARN_JSON_DIR nlohmann/json.hpp NO_CMAKE_FIND_ROOT_PATH PATHS /usr/include REQUIRED)
set(links ${CMAKE_BINARY_DIR}/third_party)
file(MAKE_DIRECTORY ${links})
file(CREATE_LINK ${TARN_CLI11_DIR}/CLI ${links}/CLI SYMBOLIC)
file(CREATE_LINK ${TARN_JSON_DIR}/nlohmann ${links}/nlohmann SYMBOLIC)
add_library(tarn_tool_libraries INTERFACE)
target_include_directories(tarn_tool_libraries SYSTEM INTERFACE ${links})

# tarn_outlet_library(name HEADER LIBRARY): a library that an outlet is made of, as tarn_<name>. Where
# the machine has it, TARN_HAS_<NAME> is on; a cross build has none of them, and its programs say so.
function(tarn_outlet_library name header library)
  string(TOUPPER ${name} upper)
  if(NOT CMAKE_CROSSCOMPILING)
    find_path(TARN_${upper}_INCLUDE ${header})
    find_library(TARN_${upper}_LIBRARY ${library})
  endif()
  if(TARN_${upper}_INCLUDE AND TARN_${upper}_LIBRARY)
    set(TARN_HAS_${upper} ON PARENT_SCOPE)
    add_library(tarn_${name} INTERFACE)
    target_include_directories(tarn_${name} SYSTEM INTERFACE ${TARN_${upper}_INCLUDE})
    target_link_libraries(tarn_${name} INTERFACE ${TARN_${upper}_LIBRARY})
  else()
    set(TARN_HAS_${upper} OFF PARENT_SCOPE)
    message(STATUS "Without ${library}: what needs it is left out")
  endif()
endfunction()
tarn_outlet_library(microhttpd microhttpd.h microhttpd) # outlets/http
tarn_outlet_library(curl curl/curl.h curl)              # attaching to another tarnscale
tarn_outlet_library(mosquitto mosquitto.h mosquitto)    # outlets/mqtt
tarn_outlet_library(crypto openssl/evp.h crypto)        # outlets/journal

# GoogleTest is built from the sources that the distribution ships, with this build's own compiler
# and options, so that the sanitizers and the cross build see it too.
set(TARN_GTEST_SOURCES /usr/src/googletest CACHE PATH "Sources of GoogleTest")
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
add_subdirectory(${TARN_GTEST_SOURCES} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
foreach(library gtest gmock gmock_main)
  target_link_libraries(${library} PRIVATE tarn_cold_code)
endforeach()
include(GoogleTest)
