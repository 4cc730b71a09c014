#include "apps/zqsim/urdfOut.h"

#include "apps/zqsim/commands.h"
#include "apps/zqsim/output.h"
#include "apps/zqsim/outputFile.h"
#include "zqManipulator/tools/urdf/ZqUrdfWriter.h"

#include <filesystem>

namespace
{
using namespace zqsim;

/// That of the label, or the only one that nothing carries.
ZqU32 findManipulator(const ZqStatedSystem& scene, const std::string& label)
{
   const auto& attachments = scene.configuration().attachmentMap();
   std::string choice;
   ZqU32 found = 0;
   ZqU32 count = 0;
   for (ZqU32 i = 0; i < scene.numberOfManipulators(); ++i)
   {
      const std::string& name = scene.manipulatorByIndex(i)->manipulatorLabel();
      if (label.empty() ? attachments.baseManipulatorIndex(i) != i : name != label)
         continue;
      choice += (choice.empty() ? "\"" : ", \"") + name + '"';
      found = i;
      ++count;
   }
   if (count == 0 && !label.empty())
      throw Failure(Usage, "--manipulator: the model has no manipulator \"" + label + '"');
   if (count == 0)
      throw Failure(InvalidInput, "the model has no manipulator");
   if (count > 1)
      throw Failure(Usage, "URDF has one manipulator: say by --manipulator which of " + choice);
   return found;
}

/// From the document to the folder, with a slash at its end.
std::string pathBetween(const std::string& fileName, const std::string& folder)
{
   namespace fs = std::filesystem;
   std::error_code error;
   const fs::path from = isStandardStream(fileName) ? fs::current_path(error)
                                                    : fs::absolute(fileName, error).parent_path();
   const std::string path = fs::relative(folder, from, error).generic_string();
   return path == "." ? "" : (error || path.empty() ? folder : path) + '/';
}
} // namespace

bool zqsim::isUrdf(const std::string& fileName, const UrdfOutOptions& options)
{
   return options.form.empty() ? fileName.ends_with(".urdf") : options.form == "urdf";
}

ZqConversionLosses zqsim::writeUrdf(const ZqStatedSystem& scene, const std::string& fileName,
                                    const UrdfOutOptions& options)
{
   const ZqU32 manipulator = findManipulator(scene, options.manipulator);
   ZqUrdfWriter writer;
   if (!options.meshFolder.empty())
   {
      std::error_code error;
      std::filesystem::create_directories(options.meshFolder, error);
      if (error)
         throw Failure(Failed, options.meshFolder + ": " + error.message());
      writer.setMeshFolder(options.meshFolder, options.meshUri.empty()
                                                  ? pathBetween(fileName, options.meshFolder)
                                                  : options.meshUri);
   }
   std::string text;
   bool isWritten = false;
   const Diagnostics diagnostics =
      diagnosticsOf([&] { isWritten = writer.toText(scene, manipulator, text); });
   if (!isWritten)
      throw Failure(Failed, diagnostics.empty() ? fileName + ": it cannot be written"
                                                : toString(diagnostics.front()));
   replaceFile(fileName, text);
   return writer.losses();
}
