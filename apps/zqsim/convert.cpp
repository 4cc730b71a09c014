#include "apps/zqsim/commands.h"
#include "apps/zqsim/edits.h"
#include "apps/zqsim/meshFile.h"
#include "apps/zqsim/model.h"
#include "zqManipulator/foundation/geometry/ZqConvexHull.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <vector>

namespace
{
using namespace zqsim;

/// Sets the shape of a link to what is in a file, as "LINK=FILE" says.
void setMesh(ZqStatedSystem& scene, const std::string& argument, bool asHull)
{
   const std::size_t sign = argument.find('=');
   if (sign == std::string::npos)
      throw Failure(Usage, "--mesh: expected LINK=FILE, but received \"" + argument + '"');
   const LinkPlace place = findLink(scene, "--mesh", argument.substr(0, sign));
   ZqTriangleMesh mesh;
   warnOf(diagnosticsOf([&] { mesh = readMesh(argument.substr(sign + 1)); }));
   const auto set = [&](const ZqShape& shape)
   { scene.replaceLinkShape(place.manipulator, place.link, shape, 0, true); };
   if (!asHull)
   {
      set(mesh);
      return;
   }
   std::vector<ZqVector> points;
   points.reserve(mesh.vertexCount());
   for (ZqU32 i = 0; i < mesh.vertexCount(); ++i)
      points.push_back(mesh.vertex(i));
   ZqConvexHull hull(std::move(points));
   hull.removeRedundancy(0.0); // keeps the corners alone
   set(hull);
}
} // namespace

zqsim::Run zqsim::convert(CLI::App& arguments)
{
   struct Options
   {
      std::string in;
      std::string out;
      std::vector<std::string> meshes;
      std::string meshAs = "mesh";
      bool brief = false;
   };
   const auto options = std::make_shared<Options>();
   arguments.add_option("IN", options->in, "The model to read, in any form that can be read")
      ->required()
      ->type_name("FILE");
   arguments
      .add_option(
         "OUT,-o,--out", options->out,
         "Where to write it in today's form; it may be the same file, and is replaced only "
         "by a whole document")
      ->required()
      ->type_name("FILE");
   arguments
      .add_option(
         "--mesh", options->meshes,
         "Replace the shape of a link by the triangles in an STL or OBJ file, in metres and in "
         "the link's primary frame. LINK is the link's label, or MANIPULATOR/LINK. Masses "
         "stay. May be given for several links")
      ->type_name("LINK=FILE")
      ->expected(1)
      ->take_all();
   arguments
      .add_option("--mesh-as", options->meshAs,
                  "What --mesh makes of the triangles: a mesh, or the convex hull of their corners")
      ->check(CLI::IsMember({"mesh", "hull"}));
   arguments.add_flag("--brief", options->brief, "Leave out what equals its default");
   return [options]
   {
      ZqStatedSystem scene;
      warnOf(readDocument(options->in, scene));
      for (const std::string& mesh : options->meshes)
         setMesh(scene, mesh, options->meshAs == "hull");
      writeDocument(scene, options->out, !options->brief);
      return Done;
   };
}
