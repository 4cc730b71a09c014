# The program in the README is the one that the package tests build and run, word for word.
#
#   cmake -D README=<file> -D PROGRAM=<file> -P checkReadme.cmake

file(READ "${README}" readme)
file(READ "${PROGRAM}" program)
string(FIND "${readme}" "```cpp\n${program}```" place)
if(place EQUAL -1)
   message(FATAL_ERROR "README.md does not show ${PROGRAM} as it is")
endif()
