# Installs a build into a scratch folder and uses what is there.
#   cmake -DBUILD=<build folder> -DVERSION=<version> -P install_test.cmake

set(scratch ${BUILD}/installed)
file(REMOVE_RECURSE ${scratch})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix ${scratch} OUTPUT_QUIET RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "cmake --install has failed.")
endif()

set(doc ${scratch}/share/doc/tovik)
foreach(file bin/tovik share/doc/tovik/LICENSE share/doc/tovik/README.md share/doc/tovik/CHANGELOG.md
             share/doc/tovik/docs/language.md share/doc/tovik/docs/imputation.md share/doc/tovik/examples/README.md
             share/doc/tovik/examples/attitude/attitude.tovik share/doc/tovik/examples/attitude/attitude.csv)
  if(NOT EXISTS ${scratch}/${file})
    message(FATAL_ERROR "${file} is not installed.")
  endif()
endforeach()

# What runs of the examples leave in the source folder stays there.
file(GLOB_RECURSE left RELATIVE ${scratch} ${doc}/examples/imputed* ${doc}/examples/estimates*
     ${doc}/examples/tests.csv)
if(left)
  message(FATAL_ERROR "Results of a run are installed: ${left}")
endif()

# Every page that the installed README names is there.
file(READ ${doc}/README.md readme)
string(REGEX MATCHALL "docs/[a-z_]+\\.md" pages "${readme}")
foreach(page IN LISTS pages)
  if(NOT EXISTS ${doc}/${page})
    message(FATAL_ERROR "README.md names ${page}, which is not installed.")
  endif()
endforeach()

execute_process(COMMAND ${scratch}/bin/tovik --version OUTPUT_VARIABLE version RESULT_VARIABLE status)
if(NOT status EQUAL 0 OR NOT version STREQUAL "${VERSION}\n")
  message(FATAL_ERROR "The installed program calls itself '${version}'.")
endif()
execute_process(COMMAND ${scratch}/bin/tovik ${doc}/examples/attitude/attitude.tovik
                OUTPUT_VARIABLE report RESULT_VARIABLE status)
if(NOT status EQUAL 0 OR NOT report MATCHES "OUTCOME MODEL ESTIMATES")
  message(FATAL_ERROR "The installed example does not run:\n${report}")
endif()
file(REMOVE_RECURSE ${scratch})
