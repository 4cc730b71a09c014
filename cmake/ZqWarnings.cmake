# zqTargetWarnings(<target>): the warnings that zqManipulator's own code compiles without. They are
# private: a user's targets never see them.
function(zqTargetWarnings target)
   if(CMAKE_CXX_COMPILER_ID MATCHES "^(GNU|Clang|AppleClang)$")
      target_compile_options(
         ${target} PRIVATE -Wall -Wextra -Wconversion -Wshadow
                           $<$<BOOL:${ZQ_WARNINGS_AS_ERRORS}>:-Werror>)
   endif()
endfunction()
