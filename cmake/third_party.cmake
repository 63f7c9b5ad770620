# Libraries of the tools and tests: none of them is part of the server's core.
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

# GoogleTest is built from the sources that the distribution ships, with this build's own compiler
# and options, so that the sanitizers and the cross build see it too.
set(TARN_GTEST_SOURCES /usr/src/googletest CACHE PATH "Sources of GoogleTest")
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
add_subdirectory(${TARN_GTEST_SOURCES} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
foreach(library gtest gmock gmock_main)
  target_link_libraries(${library} PRIVATE tarn_cold_code)
endforeach()
include(GoogleTest)
