# A document shows a file word for word, as a block of a language.
#
#   cmake -D DOCUMENT=<file> -D SHOWN=<file> -D LANGUAGE=<name> -P checkShown.cmake

file(READ "${DOCUMENT}" document)
file(READ "${SHOWN}" shown)
string(FIND "${document}" "```${LANGUAGE}\n${shown}```" place)
if(place EQUAL -1)
   message(FATAL_ERROR "${DOCUMENT} does not show ${SHOWN} as it is")
endif()
