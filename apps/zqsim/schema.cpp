#include "apps/zqsim/commands.h"
#include "apps/zqsim/output.h"
#include "apps/zqsim/outputFile.h"
#include "zqManipulator/foundation/xml/ZqXmlSchema.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"

#include <CLI/CLI.hpp>

#include <memory>

zqsim::Run zqsim::schema(CLI::App& arguments)
{
   const auto out = std::make_shared<std::string>("-");
   arguments
      .add_option("--out", *out,
                  "Where to write the schema; those of further namespaces, which it imports, are "
                  "written beside it as NAME-1.xsd and so on")
      ->type_name("FILE");
   arguments.footer("A schema declares elements of one namespace, and a model has elements of "
                    "several. So the\nschema is of several files, which standard output has one "
                    "after the other, the main one first.\nTo validate models, write them by "
                    "--out model.xsd:\n  xmllint --noout --schema model.xsd MODEL.xml");
   return [out]
   {
      ZqXmlSchema schema;
      const ZqStatedSystem scene;
      schema.addRoot(scene.token(), scene);
      const ZqVariationStudy study;
      schema.addRoot(study.token(), study);
      std::string printed;
      for (const auto& [name, text] : schema.files(isStandardStream(*out) ? "model.xsd" : *out))
         if (isStandardStream(*out))
            printed += "<!-- " + name + " -->\n" + text;
         else
         {
            OutputFile file(name);
            file.write(text);
            file.close();
         }
      print(printed);
      return Done;
   };
}
