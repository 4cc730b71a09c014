# Compiles, links and runs the consumer with nothing but what pkg-config tells. The installed tree
# is moved first, since its pkg-config file must not depend on the place.
cmake_minimum_required(VERSION 3.25)

set(moved "${BINARY_DIR}/moved")
file(REMOVE_RECURSE "${BINARY_DIR}")
file(MAKE_DIRECTORY "${BINARY_DIR}")
file(COPY "${PREFIX}/" DESTINATION "${moved}")

set(ENV{PKG_CONFIG_PATH} "${moved}/${LIBDIR}/pkgconfig:$ENV{PKG_CONFIG_PATH}")
set(ENV{LD_LIBRARY_PATH} "${moved}/${LIBDIR}:$ENV{LD_LIBRARY_PATH}")

execute_process(
   COMMAND "${PKG_CONFIG}" --static --cflags --libs "zqManipulator >= 0.1"
   OUTPUT_VARIABLE flags
   OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
if(NOT flags MATCHES "-I${moved}/[^ ]*/?include" AND NOT flags MATCHES "-I[^ ]*/moved/")
   message(FATAL_ERROR "The flags do not follow the moved tree: ${flags}")
endif()
separate_arguments(flags UNIX_COMMAND "${flags}")

execute_process(
   COMMAND "${CXX}" -std=c++20 "${SOURCE}" -o "${BINARY_DIR}/consumer" ${flags}
   COMMAND_ERROR_IS_FATAL ANY)
cmake_path(SET root NORMALIZE "${SOURCE}/../../..")
execute_process(
   COMMAND "${BINARY_DIR}/consumer" WORKING_DIRECTORY "${root}" COMMAND_ERROR_IS_FATAL ANY)
