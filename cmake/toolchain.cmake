# Dependencies, warnings and the helper that makes one library per floor.

find_package(Armadillo REQUIRED)
# The OpenMP build of OpenBLAS, which holds LAPACK too. With one thread set it starts none and may be called from all
# chains at once. The build on POSIX threads starts an idle pool as it is loaded; the serial build shares its
# buffers between callers without a lock, so that chains would spoil each other's products.
# Where it stands elsewhere than in Debian: cmake -DTOVIK_OPENBLAS=<path of libopenblas>.
find_library(TOVIK_OPENBLAS openblas PATHS /usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}/openblas-openmp
             DOC "The OpenMP build of OpenBLAS, with LAPACK" NO_DEFAULT_PATH REQUIRED)
set(linear_algebra ${TOVIK_OPENBLAS} gomp)
find_package(Boost 1.74 REQUIRED)
find_package(nlohmann_json 3.10 REQUIRED)
find_package(Threads REQUIRED)
set(CMAKE_INSTALL_RPATH_USE_LINK_PATH ON)

# ccache looks at a precompiled header only when told that its contents, and not its macros and times, count.
find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env
      CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime ${CCACHE_PROGRAM})
  add_compile_options(-fpch-preprocess)
endif()

add_library(tovik_flags INTERFACE)
# -ffp-contract=off: fused multiply-add would round differently from machine to machine, and draws with it.
target_compile_options(tovik_flags INTERFACE -Wall -Wextra -Wformat=2 -Wno-format-nonliteral
                                             $<$<BOOL:${TOVIK_WERROR}>:-Werror> -ffp-contract=off)
# ARMA_DONT_USE_OPENMP: chains are the only parallelism. ARMA_WARN_LEVEL 0: the program owns its words.
# ARMA_DONT_USE_WRAPPER: link BLAS and LAPACK directly, without the run-time wrapper.
target_compile_definitions(tovik_flags INTERFACE ARMA_DONT_USE_OPENMP ARMA_WARN_LEVEL=0 ARMA_DONT_USE_WRAPPER)
target_include_directories(tovik_flags INTERFACE ${CMAKE_SOURCE_DIR}/src)
target_include_directories(tovik_flags SYSTEM INTERFACE ${ARMADILLO_INCLUDE_DIRS})
target_link_libraries(tovik_flags INTERFACE ${linear_algebra} Boost::headers Threads::Threads)
if(TOVIK_SANITIZE)
  target_compile_options(tovik_flags INTERFACE -fsanitize=${TOVIK_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(tovik_flags INTERFACE -fsanitize=${TOVIK_SANITIZE})
endif()

# The Armadillo header takes seconds to read; it is compiled once and shared.
set(common_headers <armadillo> <string> <vector> <functional> <memory> <unordered_map>)
file(WRITE ${CMAKE_BINARY_DIR}/pch.cpp "")
add_library(tovik_pch STATIC ${CMAKE_BINARY_DIR}/pch.cpp)
target_link_libraries(tovik_pch PRIVATE tovik_flags)
target_precompile_headers(tovik_pch PRIVATE ${common_headers})

# Where CMAKE_UNITY_BUILD is on, sources are compiled in batches of so many: large enough to read and instantiate
# the headers seldom, small enough to keep two cores busy to the end.
if(NOT CMAKE_UNITY_BUILD_BATCH_SIZE)
  set(CMAKE_UNITY_BUILD_BATCH_SIZE 12)
endif()

# tovik_library(name [EXCLUDE ...] DEPENDS ...): the sources below src/<name>.
function(tovik_library name)
  cmake_parse_arguments(ARG "" "" "EXCLUDE;DEPENDS" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS RELATIVE ${CMAKE_SOURCE_DIR} src/${name}/*.cpp)
  list(REMOVE_ITEM sources ${ARG_EXCLUDE})
  add_library(tovik_${name} STATIC ${sources})
  target_link_libraries(tovik_${name} PUBLIC tovik_flags ${ARG_DEPENDS})
  target_precompile_headers(tovik_${name} REUSE_FROM tovik_pch)
endfunction()
