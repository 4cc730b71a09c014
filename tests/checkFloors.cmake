# Fails when a file of the library includes one of a room on a higher floor, or when a room has no floor.
# The floors are the order in which zqManipulator/CMakeLists.txt lists the rooms; so there is no cycle.
#
# SOURCE_DIR  the root of the project
# ROOMS       the rooms by their folders below zqManipulator/, from the lowest up, apart by colons
cmake_minimum_required(VERSION 3.25)

string(REPLACE ":" ";" rooms "${ROOMS}")
set(wholeLibrary zqManipulator.h zqManipulatorForward.h)
file(GLOB_RECURSE files RELATIVE "${SOURCE_DIR}/zqManipulator" "${SOURCE_DIR}/zqManipulator/*.h"
     "${SOURCE_DIR}/zqManipulator/*.cpp")
list(REMOVE_ITEM files ${wholeLibrary})

foreach(file IN LISTS files)
   cmake_path(GET file PARENT_PATH room)
   list(FIND rooms "${room}" floor)
   if(floor EQUAL -1)
      message(SEND_ERROR "${file} stands in a folder that zqManipulator/CMakeLists.txt does not list")
   endif()
   file(STRINGS "${SOURCE_DIR}/zqManipulator/${file}" includes REGEX "^#include \"zqManipulator/")
   foreach(line IN LISTS includes)
      string(REGEX REPLACE "^#include \"zqManipulator/(.*)\".*" "\\1" included "${line}")
      cmake_path(GET included PARENT_PATH includedRoom)
      list(FIND rooms "${includedRoom}" includedFloor)
      if(includedFloor GREATER floor OR includedFloor EQUAL -1)
         message(SEND_ERROR "${file} includes ${included}, which is on a higher floor")
      endif()
   endforeach()
endforeach()
