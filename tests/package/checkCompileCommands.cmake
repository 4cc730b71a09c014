# Fails when zqManipulator's warnings or private dependencies reach the consumer's compile command,
# or when its tests, benchmarks, examples or applications are built along with the consumer.
cmake_minimum_required(VERSION 3.25)

file(READ "${COMPILE_COMMANDS}" json)
string(JSON count LENGTH "${json}")
math(EXPR last "${count} - 1")
set(consumerSeen FALSE)

foreach(index RANGE ${last})
   string(JSON file GET "${json}" ${index} file)
   string(JSON command GET "${json}" ${index} command)
   if(file MATCHES "/package/consumer\\.cpp$")
      set(consumerSeen TRUE)
      if(command MATCHES " (-W(extra|conversion|shadow)|-(I|isystem) ?[^ ]*(eigen|expat|qhull)[^ ]*)")
         message(SEND_ERROR "${CMAKE_MATCH_1} reaches the consumer:\n${command}")
      endif()
   elseif(file MATCHES "/(tests|benchmarks|examples|apps|fuzz)/[^:]*\\.cpp$")
      message(SEND_ERROR "${file} is built along with the consumer")
   endif()
endforeach()

if(NOT consumerSeen)
   message(SEND_ERROR "The consumer's own compile command was not found")
endif()
