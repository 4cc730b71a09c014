#include "apps/zqsim/commands.h"
#include "apps/zqsim/model.h"

#include <CLI/CLI.hpp>

#include <memory>

zqsim::Run zqsim::convert(CLI::App& arguments)
{
   struct Options
   {
      std::string in;
      std::string out;
      bool brief = false;
   };
   const auto options = std::make_shared<Options>();
   arguments.add_option("IN", options->in, "The model to read, in any form that can be read")
      ->required()
      ->type_name("FILE");
   arguments
      .add_option(
         "OUT", options->out,
         "Where to write it in today's form; it may be the same file, and is replaced only "
         "by a whole document")
      ->required()
      ->type_name("FILE");
   arguments.add_flag("--brief", options->brief, "Leave out what equals its default");
   return [options]
   {
      ZqStatedSystem scene;
      warnOf(readModel(options->in, scene));
      writeModel(scene, options->out, !options->brief);
      return Done;
   };
}
