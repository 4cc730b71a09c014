# Fails when a header of the library is listed nowhere (it would not be installed), or when the
# umbrella header and the list of public headers differ, or when the forward header does not declare
# exactly the classes that public headers define (of templates, and in namespaces, what it likes).
#
# SOURCE_DIR       the root of the project
# PUBLIC_HEADERS   file with the public headers, one a line
# LIBRARY_SOURCES  file with the sources and private headers, one a line
cmake_minimum_required(VERSION 3.25)

set(umbrella "zqManipulator/zqManipulator.h")
set(forward "zqManipulator/zqManipulatorForward.h")

function(readPaths file result)
   file(STRINGS "${file}" paths)
   set(relativePaths "")
   foreach(path IN LISTS paths)
      cmake_path(ABSOLUTE_PATH path BASE_DIRECTORY "${SOURCE_DIR}/zqManipulator" NORMALIZE)
      cmake_path(RELATIVE_PATH path BASE_DIRECTORY "${SOURCE_DIR}")
      if(path MATCHES "\\.h$")
         list(APPEND relativePaths "${path}")
      endif()
   endforeach()
   set(${result} "${relativePaths}" PARENT_SCOPE)
endfunction()

readPaths("${PUBLIC_HEADERS}" publicHeaders)
readPaths("${LIBRARY_SOURCES}" privateHeaders)
file(GLOB_RECURSE headers RELATIVE "${SOURCE_DIR}" "${SOURCE_DIR}/zqManipulator/*.h")
file(STRINGS "${SOURCE_DIR}/${umbrella}" includes REGEX "^#include \"")
list(TRANSFORM includes REPLACE "^#include \"(.*)\".*" "\\1")

if(NOT umbrella IN_LIST publicHeaders)
   message(SEND_ERROR "${umbrella} is not a public header")
endif()
list(REMOVE_ITEM publicHeaders "${umbrella}")

foreach(header IN LISTS headers)
   if(NOT header STREQUAL umbrella AND NOT header IN_LIST publicHeaders AND NOT header IN_LIST
                                                                           privateHeaders)
      message(SEND_ERROR "${header} is not listed by any CMakeLists.txt")
   endif()
endforeach()

foreach(header IN LISTS publicHeaders)
   if(NOT header IN_LIST includes)
      message(SEND_ERROR "${umbrella} does not include ${header}")
   endif()
endforeach()

foreach(include IN LISTS includes)
   if(NOT include IN_LIST publicHeaders)
      message(SEND_ERROR "${umbrella} includes ${include}, which is not a public header")
   endif()
endforeach()

# The classes that stand before the end of a line that `ending` matches, "class ZqVector" and so on.
function(readClasses file ending result)
   file(STRINGS "${SOURCE_DIR}/${file}" lines REGEX "^[a-z]")
   set(previous "")
   set(classes "")
   foreach(line IN LISTS lines)
      if(NOT previous MATCHES "^template" AND line MATCHES "^((class|struct) Zq[A-Za-z]+)${ending}")
         list(APPEND classes "${CMAKE_MATCH_1}")
      endif()
      set(previous "${line}")
   endforeach()
   set(${result} "${classes}" PARENT_SCOPE)
endfunction()

readClasses("${forward}" ";$" declared)
set(defined "")
foreach(header IN LISTS publicHeaders)
   readClasses("${header}" "( final)?( :[^:].*)?$" classes)
   foreach(class IN LISTS classes)
      if(NOT class IN_LIST declared)
         message(SEND_ERROR "${forward} does not declare ${class}, of ${header}")
      endif()
   endforeach()
   list(APPEND defined ${classes})
endforeach()

foreach(class IN LISTS declared)
   if(NOT class IN_LIST defined)
      message(SEND_ERROR "${forward} declares ${class}, which no public header defines")
   endif()
endforeach()
