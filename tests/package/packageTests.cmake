# The library as other projects meet it: installed and found as a CMake package, installed and found
# by pkg-config, and as a subdirectory of their own tree.
set(consumerSource "${CMAKE_CURRENT_LIST_DIR}")
set(consumerBinary "${CMAKE_CURRENT_BINARY_DIR}/package")
set(consumerPrefix "${consumerBinary}/prefix")

# What an earlier run left must not decide: old caches hold old options. Objects may stay.
add_test(NAME package.clean
         COMMAND "${CMAKE_COMMAND}" -E rm -rf "${consumerPrefix}"
                 "${consumerBinary}/findPackage/CMakeCache.txt"
                 "${consumerBinary}/addSubdirectory/CMakeCache.txt")
set_tests_properties(package.clean PROPERTIES FIXTURES_SETUP zqPackageClean)

add_test(NAME package.install COMMAND "${CMAKE_COMMAND}" --install "${PROJECT_BINARY_DIR}" --prefix
                                      "${consumerPrefix}")
set_tests_properties(package.install PROPERTIES FIXTURES_REQUIRED zqPackageClean
                                                FIXTURES_SETUP zqInstalled)

# Besides what the consumers find for themselves. md5sum fails when a file is missing.
set(installedFiles share/zqManipulator/models/minimal.xml)
if(TARGET zqsimPages)
   list(
      APPEND
      installedFiles
      share/man/man1/zqsim.1
      share/bash-completion/completions/zqsim
      share/zsh/site-functions/_zqsim
      share/fish/vendor_completions.d/zqsim.fish
      share/zqManipulator/schema/model.xsd)
endif()
add_test(
   NAME package.files
   COMMAND "${CMAKE_COMMAND}" -E md5sum ${installedFiles}
   WORKING_DIRECTORY "${consumerPrefix}")
set_tests_properties(package.files PROPERTIES FIXTURES_REQUIRED zqInstalled)

# Configures, builds and runs the consumer. The job pool holds Ninja to two compilers at a time.
function(addConsumerTest name)
   add_test(
      NAME package.${name}
      COMMAND
         "${CMAKE_CTEST_COMMAND}" --build-and-test "${consumerSource}" "${consumerBinary}/${name}"
         --build-generator "${CMAKE_GENERATOR}" --build-config-sample "$<CONFIG>" --build-options
         "-DCMAKE_CXX_COMPILER=${CMAKE_CXX_COMPILER}"
         "-DCMAKE_CXX_COMPILER_LAUNCHER=${CMAKE_CXX_COMPILER_LAUNCHER}"
         "-DCMAKE_BUILD_TYPE=${CMAKE_BUILD_TYPE}" "-DBUILD_SHARED_LIBS=${BUILD_SHARED_LIBS}"
         "-DCMAKE_JOB_POOLS=compilers=2" "-DCMAKE_JOB_POOL_COMPILE=compilers" ${ARGN}
         --test-command "${CMAKE_CTEST_COMMAND}" -C "$<CONFIG>" -R "^consumer" --output-on-failure)
   set_tests_properties(package.${name} PROPERTIES TIMEOUT 1200 PROCESSORS 2)
endfunction()

addConsumerTest(findPackage "-DCMAKE_PREFIX_PATH=${consumerPrefix}")
set_tests_properties(package.findPackage PROPERTIES FIXTURES_REQUIRED zqInstalled)

# The library is tested as it is optimised elsewhere: here counts that it builds and links, which sanitizers do not
# change.
if(NOT ZQ_SANITIZE)
   addConsumerTest(addSubdirectory "-DZQ_MANIPULATOR_SOURCE_DIR=${PROJECT_SOURCE_DIR}"
                   "-DCMAKE_UNITY_BUILD=ON" "-DCMAKE_CXX_FLAGS_RELEASE=-O0")
   set_tests_properties(package.addSubdirectory PROPERTIES FIXTURES_REQUIRED zqPackageClean)
endif()

find_program(ZQ_PKG_CONFIG NAMES pkg-config pkgconf)
mark_as_advanced(ZQ_PKG_CONFIG)
if(ZQ_PKG_CONFIG AND UNIX)
   add_test(
      NAME package.pkgConfig
      COMMAND
         "${CMAKE_COMMAND}" -D "PKG_CONFIG=${ZQ_PKG_CONFIG}" -D "CXX=${CMAKE_CXX_COMPILER}" -D
         "PREFIX=${consumerPrefix}" -D "LIBDIR=${CMAKE_INSTALL_LIBDIR}" -D
         "SOURCE=${consumerSource}/consumer.cpp" -D "BINARY_DIR=${consumerBinary}/pkgConfig" -P
         "${consumerSource}/checkPkgConfig.cmake")
   set_tests_properties(package.pkgConfig PROPERTIES FIXTURES_REQUIRED zqInstalled)
else()
   message(STATUS "pkg-config was not found: its file is not tested")
endif()
