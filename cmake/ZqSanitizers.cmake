# zqTargetSanitizers(<target>): compiles a target under the sanitizers of ZQ_SANITIZE, and under the
# coverage that the fuzz targets need. The link options are public in the build tree, since whatever
# links an instrumented static library needs the run time of the sanitizers.
function(zqTargetSanitizers target)
   set(options ${ZQ_SANITIZE})
   if(ZQ_BUILD_FUZZERS)
      list(APPEND options fuzzer-no-link address undefined)
      list(REMOVE_DUPLICATES options)
   endif()
   if(NOT options)
      return()
   endif()

   list(JOIN options "," sanitizers)
   set(flags -fsanitize=${sanitizers} -fno-sanitize-recover=all)
   target_compile_options(${target} PRIVATE ${flags} -fno-omit-frame-pointer)
   target_link_options(${target} PUBLIC "$<BUILD_INTERFACE:${flags}>")
endfunction()
