#include "apps/meshFiles/meshFiles.h"
#include "python/source/failures.h"
#include "python/source/scene.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/tools/urdf/ZqUrdfReader.h"
#include "zqManipulator/tools/urdf/ZqUrdfWriter.h"

#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>

namespace
{
using namespace zqPython;
using Loss = ZqConversionLoss;
using OptionalPath = std::optional<py::object>;

ZqString pathOf(const py::handle& path)
{
   return py::module_::import("os").attr("fspath")(path).cast<ZqString>();
}

const char* nameOf(Loss::Kind kind)
{
   return kind == Loss::Kind::Lost ? "lost" : "changed";
}

std::string textOf(const Loss& loss)
{
   return loss.place + ", " + loss.element + ": " + loss.text;
}

/// Raises an `Error` that tells all losses.
[[noreturn]] void failForLosses(const std::string& file, const ZqConversionLosses& losses)
{
   std::vector<Zq::Diagnostic> diagnostics;
   for (const Loss& loss : losses)
      diagnostics.push_back({Zq::Severity::Error, nameOf(loss.kind), file, loss.line,
                             loss.place + '/' + loss.element, loss.text});
   fail("convert " + file, diagnostics);
}

void warnOfLosses(const std::string& file, const ZqConversionLosses& losses, const char* teller)
{
   if (!losses.empty())
      warn({{Zq::Severity::Warning,
             "losses",
             file,
             losses.front().line,
             {},
             std::to_string(losses.size()) +
                (losses.size() == 1 ? " loss, which " : " losses, which ") + teller +
                "; the first: " + textOf(losses.front())}});
}

std::optional<ZqTriangleMesh> readMesh(const ZqString& fileName)
try
{
   return meshFiles::read(fileName);
}
catch (const std::runtime_error& error)
{
   Zq::Print::instance().report({Zq::Severity::Warning, "mesh", {}, 0, {}, error.what()});
   return std::nullopt;
}

std::shared_ptr<Scene> load(const py::object& path,
                            const std::optional<std::map<ZqString, py::object>>& packages,
                            bool hasFreeBase, bool isStrict)
{
   const ZqString file = pathOf(path);
   const auto scene = std::make_shared<Scene>();
   if (!ZqUrdfReader::recognizes(file))
   {
      perform("load " + file, [&] { return Zq::load(scene->model(), file); });
      if (packages || hasFreeBase)
         throw py::value_error("packages and free_base are for URDF, which " + file + " is not");
      return scene;
   }
   ZqUrdfReader reader;
   if (packages)
      for (const auto& [name, directory] : *packages)
         reader.setPackage(name, pathOf(directory));
   reader.setHasFreeBase(hasFreeBase);
   if (meshFiles::canRead())
      reader.setMeshReader(readMesh);
   perform("load " + file, [&] { return reader.read(scene->model(), file); });
   scene->losses = reader.losses();
   if (isStrict && !scene->losses.empty())
      failForLosses(file, scene->losses);
   warnOfLosses(file, scene->losses, "`losses` of the scene tells");
   return scene;
}

/// From the document to a folder, with a slash at its end.
ZqString pathBetween(const ZqString& file, const ZqString& folder)
{
   namespace fs = std::filesystem;
   const fs::path path = fs::relative(folder, fs::absolute(file).parent_path());
   return path == "." ? "" : (path.empty() ? folder : path.generic_string()) + '/';
}

ZqConversionLosses saveUrdf(const Manipulator& manipulator, const py::object& path,
                            const OptionalPath& meshes, const std::optional<ZqString>& meshUri,
                            bool isStrict)
{
   const ZqString file = pathOf(path);
   const ZqU32 index = manipulator.index();
   const ZqStatedSystem copy = manipulator.scene->stated();
   ZqUrdfWriter writer;
   if (meshes)
   {
      const ZqString folder = pathOf(*meshes);
      std::error_code error;
      std::filesystem::create_directories(folder, error);
      if (error)
         throw py::value_error("meshes: " + folder + ": " + error.message());
      writer.setMeshFolder(folder, meshUri ? *meshUri : pathBetween(file, folder));
   }
   if (isStrict)
   {
      ZqString text;
      perform("save " + file, [&] { return writer.toText(copy, index, text); });
      if (!writer.losses().empty())
         failForLosses(file, writer.losses());
   }
   perform("save " + file, [&] { return writer.write(copy, index, file); });
   warnOfLosses(file, writer.losses(), "the answer tells");
   return writer.losses();
}
} // namespace

void zqPython::bindUrdf(py::module_& module)
{
   py::class_<Loss>(module, "Loss", "What a conversion from or to URDF could not carry over.")
      .def_property_readonly(
         "kind", [](const Loss& self) { return std::string(nameOf(self.kind)); },
         "'lost', or 'changed': told otherwise, to another effect.")
      .def_readonly("place", &Loss::place, "Of what it was, as \"link 'forearm'\".")
      .def_readonly("element", &Loss::element, "The element or the property.")
      .def_readonly("text", &Loss::text)
      .def_readonly("line", &Loss::line, "In the document that was read, from 1; or 0.")
      .def("__str__", &textOf)
      .def("__repr__", [](const Loss& self)
           { return "<Loss: " + std::string(nameOf(self.kind)) + ", " + textOf(self) + ">"; });
   module.def("load", &load, py::arg("path"), py::kw_only(), py::arg("packages") = py::none(),
              py::arg("free_base") = false, py::arg("strict") = false,
              "Reads a scene from a document, or a robot from a document in URDF, as its root "
              "element tells.\n\n"
              "What had to be repaired is warned of. What URDF has and a scene has not is in its "
              "`losses`, and "
              "warned of; with strict it is an `Error`.\n"
              "packages: directories by name, for 'package://NAME/...'.\n"
              "free_base: whether the base of a robot is free where URDF does not say so.");
   sceneClass(module).def_readonly("losses", &Scene::losses,
                                   "What was lost when the scene was read from URDF.");
   manipulatorClass(module).def(
      "save_urdf", &saveUrdf, py::arg("path"), py::kw_only(), py::arg("meshes") = py::none(),
      py::arg("mesh_uri") = py::none(), py::arg("strict") = false,
      "Writes the manipulator, with what is attached to its links, as URDF; answers the losses, "
      "and warns "
      "of them.\n\n"
      "meshes: a folder for files of triangles; without one, shapes that URDF does not have are "
      "lost.\n"
      "mesh_uri: how the document names that folder, as 'package://NAME/meshes/'; else by the "
      "relative path.\n"
      "strict: an `Error` if anything would be lost, and no document.");
}
