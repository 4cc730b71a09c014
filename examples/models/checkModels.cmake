# The models beside this file are what makeModels writes, byte for byte.
#
#   cmake -D MAKE_MODELS=<program> -D MODELS=<folder> -D MADE=<scratch folder> -P checkModels.cmake

file(REMOVE_RECURSE "${MADE}")
file(MAKE_DIRECTORY "${MADE}")
execute_process(COMMAND "${MAKE_MODELS}" "${MADE}" COMMAND_ERROR_IS_FATAL ANY)

file(GLOB kept RELATIVE "${MODELS}" "${MODELS}/*.xml")
list(REMOVE_ITEM kept minimal.xml) # written by hand
file(GLOB made RELATIVE "${MADE}" "${MADE}/*.xml")
set(differing "")
foreach(model IN LISTS kept made)
   execute_process(COMMAND "${CMAKE_COMMAND}" -E compare_files "${MODELS}/${model}" "${MADE}/${model}"
                   RESULT_VARIABLE differs OUTPUT_QUIET ERROR_QUIET)
   if(differs)
      list(APPEND differing "${model}")
   endif()
endforeach()
list(REMOVE_DUPLICATES differing)

if(made STREQUAL "")
   message(FATAL_ERROR "makeModels wrote no models")
endif()
if(NOT differing STREQUAL "")
   list(JOIN differing ", " differing)
   message(FATAL_ERROR "Not as makeModels writes them: ${differing}. To write them anew:\n"
                       "   ${MAKE_MODELS} ${MODELS}")
endif()
