# zqTargetWarnings(<target>): the warnings that zqManipulator's own code compiles without. They are
# private: a user's targets never see them.
function(zqTargetWarnings target)
   if(CMAKE_CXX_COMPILER_ID MATCHES "^(GNU|Clang|AppleClang)$")
      target_compile_options(
         ${target} PRIVATE -Wall -Wextra -Wconversion -Wshadow
                           $<$<BOOL:${ZQ_WARNINGS_AS_ERRORS}>:-Werror>)
      # A unity build includes the sources in a file of its own: what a source keeps to itself then
      # looks like that of a header.
      if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
         target_compile_options(${target} PRIVATE -Wno-subobject-linkage)
      endif()
   endif()
endfunction()
