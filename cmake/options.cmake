# Compiler options of every target of the project, carried by the interface library tarn_options.
add_library(tarn_options INTERFACE)
target_include_directories(tarn_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(
  tarn_options
  INTERFACE -Wall
            -Wextra
            -Wpedantic
            -Wshadow
            -Wconversion
            -Wnon-virtual-dtor
            -Woverloaded-virtual
            -Wimplicit-fallthrough
            # g++ 12 sees overlapping copies in "text" + std::string that are not there.
            $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
            # In a unity build g++ takes a source file for a header.
            $<$<AND:$<CXX_COMPILER_ID:GNU>,$<BOOL:${CMAKE_UNITY_BUILD}>>:-Wno-subobject-linkage>
            -Werror)

# For what runs as fast as anybody needs at -O1, which compiles in half the time of -O3: the tests, and
# the reading of arguments. After the flags of the build type, so it decides.
add_library(tarn_cold_code INTERFACE)
target_compile_options(tarn_cold_code INTERFACE $<$<CONFIG:Release>:-O1>)

if(TARN_SANITIZE)
  set(sanitizers -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_compile_options(${sanitizers})
  add_link_options(${sanitizers})
endif()

if(TARN_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES Clang)
    message(FATAL_ERROR "The fuzz targets need clang++")
  endif()
  # Coverage of the code under test; the fuzz targets themselves bring libFuzzer's main.
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

if(WIN32)
  # A program that needs no other file beside it.
  add_link_options(-static)
  enable_language(RC)
  add_compile_definitions(UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0A00)
endif()

# tarn_library(name SOURCES ... USES ...): one folder of the project.
function(tarn_library name)
  cmake_parse_arguments(ARG "" "" "SOURCES;USES" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC tarn_options ${ARG_USES})
endfunction()

# tarn_version(target description): the program knows the version of the project (TARN_VERSION), and on
# Windows has it among its file properties. The version of the type library is another one: it is that of
# the published interface, stays as the interface does, and stands in the registry as "1.0".
function(tarn_version target description)
  target_compile_definitions(${target} PRIVATE TARN_VERSION="${PROJECT_VERSION}")
  if(WIN32)
    set(resource ${CMAKE_CURRENT_BINARY_DIR}/${target}_version.rc)
    configure_file(${PROJECT_SOURCE_DIR}/cmake/version.rc.in ${resource} @ONLY)
    target_sources(${target} PRIVATE ${resource})
  endif()
endfunction()
