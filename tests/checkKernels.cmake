# Objects for other instruction sets may define functions of names of their own alone: of two functions of one
# name the linker keeps one, and a processor that lacks the instruction set would run into it.
string(REPLACE ":" ";" OBJECTS "${OBJECTS}")
foreach(object IN LISTS OBJECTS)
   execute_process(
      COMMAND "${NM}" --demangle --defined-only "${object}"
      OUTPUT_VARIABLE symbols COMMAND_ERROR_IS_FATAL ANY)
   string(REGEX MATCHALL "[^\n]+ [WVu] [^\n]+" shared "${symbols}")
   foreach(symbol IN LISTS shared)
      if(NOT symbol MATCHES "zqMotion::avx[0-9]*::")
         message(SEND_ERROR "${object} shares ${symbol}")
      endif()
   endforeach()
endforeach()
