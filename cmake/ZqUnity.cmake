# zqUnityByFolder(<target>): has a target that is built as a unity (its UNITY_BUILD, from CMAKE_UNITY_BUILD)
# compile the sources of a folder as one, so that names that a source keeps to itself have to be unique in
# its folder alone. To be called from the folder that the target is made in, after all its sources are known.
function(zqUnityByFolder target)
   get_target_property(isUnity ${target} UNITY_BUILD)
   if(NOT isUnity)
      return()
   endif()
   set_target_properties(${target} PROPERTIES UNITY_BUILD_MODE GROUP)
   # Names of one source may shadow those of another; and what a source keeps to itself looks like that of
   # a header, as the unit includes it.
   if(CMAKE_CXX_COMPILER_ID MATCHES "^(GNU|Clang|AppleClang)$")
      target_compile_options(${target} PRIVATE -Wno-shadow)
   endif()
   if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
      target_compile_options(${target} PRIVATE -Wno-subobject-linkage)
   endif()
   get_target_property(sources ${target} SOURCES)
   foreach(source IN LISTS sources)
      cmake_path(GET source PARENT_PATH folder)
      cmake_path(RELATIVE_PATH folder BASE_DIRECTORY "${PROJECT_SOURCE_DIR}")
      string(MAKE_C_IDENTIFIER "${folder}" group)
      set_source_files_properties("${source}" TARGET_DIRECTORY ${target} PROPERTIES UNITY_GROUP
                                                                                    ${group})
   endforeach()
endfunction()
