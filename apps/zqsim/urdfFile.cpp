#include "apps/zqsim/urdfFile.h"

#include "apps/meshFiles/meshFiles.h"
#include "apps/zqsim/commands.h"
#include "apps/zqsim/outputFile.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"
#include "zqManipulator/tools/urdf/ZqUrdfReader.h"

#include <iostream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace
{
using namespace zqsim;

/// A model from elsewhere, of which it is told at once what it is.
struct Input
{
   explicit Input(const std::string& file)
      : fileName(file), isStandard(isStandardStream(file)),
        name(isStandard ? "standard input" : file)
   {
      if (isStandard)
         text.assign(std::istreambuf_iterator<char>(std::cin), {});
      isUrdf = isStandard ? ZqUrdfReader::recognizesText(text) : ZqUrdfReader::recognizes(fileName);
   }

   bool readUrdf(ZqUrdfReader& reader, ZqStatedSystem& scene) const
   {
      return isStandard ? reader.readText(scene, text, name) : reader.read(scene, fileName);
   }
   bool readDocument(ZqStatedSystem& scene) const
   {
      if (!isStandard)
         return Zq::load(scene, fileName);
      std::istringstream stream(text);
      ZqXmlReader reader(stream, name);
      return Zq::read(scene, reader);
   }

   std::string fileName;
   bool isStandard;
   std::string name;
   std::string text; ///< of standard input
   bool isUrdf = false;
};

std::optional<ZqTriangleMesh> readMesh(const std::string& fileName)
try
{
   return meshFiles::read(fileName);
}
catch (const std::runtime_error& error)
{
   Zq::Print::instance().report({Zq::Severity::Warning, "mesh", {}, 0, {}, error.what()});
   return std::nullopt;
}

void setOptions(ZqUrdfReader& reader, const UrdfOptions& options)
{
   for (const std::string& package : options.packages)
   {
      const std::size_t sign = package.find('=');
      if (sign == 0 || sign == std::string::npos)
         throw Failure(Usage, "--package: expected NAME=DIR, but received \"" + package + '"');
      reader.setPackage(package.substr(0, sign), package.substr(sign + 1));
   }
   reader.setHasFreeBase(options.hasFreeBase);
   if (meshFiles::canRead())
      reader.setMeshReader(readMesh);
}
} // namespace

zqsim::Diagnostics zqsim::readModel(const std::string& fileName, const UrdfOptions& options,
                                    ZqStatedSystem& scene,
                                    std::optional<ZqConversionLosses>& losses)
{
   ZqUrdfReader reader;
   setOptions(reader, options);
   const Input input(fileName);
   if (!input.isUrdf && (!options.packages.empty() || options.hasFreeBase))
      throw Failure(Usage, input.name + ": --package and --free-base are for models in URDF");
   bool isRead = false;
   Diagnostics diagnostics = diagnosticsOf(
      [&] { isRead = input.isUrdf ? input.readUrdf(reader, scene) : input.readDocument(scene); });
   if (!isRead)
      throw Failure(InvalidInput, reason(input.name, diagnostics));
   if (input.isUrdf)
      losses = reader.losses();
   return diagnostics;
}
