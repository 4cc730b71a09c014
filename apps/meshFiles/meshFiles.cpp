#include "apps/meshFiles/meshFiles.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <vector>

#ifdef ZQ_HAS_ASSIMP
#include <assimp/Importer.hpp>
#include <assimp/config.h>
#include <assimp/postprocess.h>
#include <assimp/scene.h>
#endif

namespace
{
std::runtime_error invalid(const std::string& fileName, const std::string& what)
{
   return std::runtime_error(fileName + ": " + what);
}

#ifdef ZQ_HAS_ASSIMP
std::string contentsOf(const std::string& fileName)
{
   std::ifstream file(fileName, std::ios::binary);
   if (!file)
      throw invalid(fileName, "the file cannot be opened");
   std::string contents{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
   if (file.bad())
      throw invalid(fileName, "the file cannot be read");
   return contents;
}

/// A binary STL file is as long as the number of triangles in it says, and one of text ends with
/// its last line. What is in between is left to the importer.
void checkStl(const std::string& fileName, std::string_view contents)
{
   constexpr std::size_t header = 80;
   constexpr std::size_t triangle = 50;
   if (contents.starts_with("solid") && contents.rfind("endsolid") != std::string_view::npos)
      return;
   if (contents.size() < header + 4)
      throw invalid(fileName, "an STL file that is cut short");
   std::uint64_t count = 0;
   for (std::size_t i = 4; i-- > 0;)
      count = count << 8U | static_cast<unsigned char>(contents[header + i]);
   if (contents.size() != header + 4 + triangle * count)
      throw invalid(fileName, contents.starts_with("solid")
                                 ? "an STL file that is cut short"
                                 : "an STL file that is to have " + std::to_string(count) +
                                      " triangles, and is not as long as that");
}

/// The vertices and faces of an OBJ file, without materials, groups, normals and textures: they are of no use
/// here, and the importer does not survive every mistake in them.
std::string geometryOfObj(std::string contents)
{
   // A line that ends in a backslash goes on in the next one.
   std::erase(contents, '\r');
   for (std::size_t at = 0; (at = contents.find("\\\n", at)) != std::string::npos;)
      contents.replace(at, 2, "  ");
   std::istringstream lines(contents);
   std::string result, line, word;
   while (std::getline(lines, line))
   {
      std::istringstream words(line);
      if (!(words >> word) || (word != "v" && word != "f"))
         continue;
      result += word;
      while (words >> word && word.front() != '#')
         result += ' ' + word.substr(0, word.find('/'));
      result += '\n';
   }
   return result;
}

ZqTriangleMesh meshOf(const aiScene& scene, const std::string& fileName)
{
   std::vector<ZqVector> vertices;
   std::vector<ZqTriangleMesh::Triangle> triangles;
   for (unsigned m = 0; m < scene.mNumMeshes; ++m)
   {
      const aiMesh& mesh = *scene.mMeshes[m];
      const auto first = static_cast<ZqU32>(vertices.size());
      for (unsigned i = 0; i < mesh.mNumVertices; ++i)
      {
         const aiVector3D& v = mesh.mVertices[i];
         if (!std::isfinite(v.x) || !std::isfinite(v.y) || !std::isfinite(v.z))
            throw invalid(fileName, "a vertex is not finite");
         vertices.emplace_back(v.x, v.y, v.z);
      }
      for (unsigned i = 0; i < mesh.mNumFaces; ++i)
      {
         const aiFace& face = mesh.mFaces[i];
         if (face.mNumIndices == 3)
            triangles.push_back(
               {first + face.mIndices[0], first + face.mIndices[1], first + face.mIndices[2]});
      }
   }
   ZqTriangleMesh result;
   result.setTriangles(std::move(vertices), triangles);
   return result;
}

std::string endingOf(const std::string& fileName)
{
   std::string ending = fileName.substr(std::min(fileName.rfind('.'), fileName.size()));
   for (char& c : ending)
      c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
   return ending;
}
#endif
} // namespace

bool meshFiles::canRead() noexcept
{
#ifdef ZQ_HAS_ASSIMP
   return true;
#else
   return false;
#endif
}

#ifdef ZQ_HAS_ASSIMP
ZqTriangleMesh meshFiles::read(const std::string& fileName)
{
   const std::string ending = endingOf(fileName);
   if (ending != ".stl" && ending != ".obj" && ending != ".dae")
      throw invalid(fileName, "meshes are read from .stl, .obj and .dae files");
   std::string contents = contentsOf(fileName);
   if (ending == ".stl")
      checkStl(fileName, contents);
   else if (ending == ".obj")
      contents = geometryOfObj(std::move(contents));
   Assimp::Importer importer;
   // From memory: nothing that the file names is opened.
   importer.SetPropertyInteger(AI_CONFIG_PP_SBP_REMOVE,
                               aiPrimitiveType_POINT | aiPrimitiveType_LINE);
   importer.SetPropertyBool(AI_CONFIG_IMPORT_COLLADA_IGNORE_UP_DIRECTION, true);
   const aiScene* scene = importer.ReadFileFromMemory(
      contents.data(), contents.size(),
      aiProcess_Triangulate | aiProcess_JoinIdenticalVertices | aiProcess_SortByPType |
         aiProcess_PreTransformVertices | aiProcess_DropNormals,
      ending.c_str() + 1);
   if (scene == nullptr)
      throw invalid(fileName, importer.GetErrorString());
   ZqTriangleMesh mesh = meshOf(*scene, fileName);
   if (mesh.triangleCount() == 0)
      throw invalid(fileName, "there is no triangle in the file");
   return mesh;
}
#else
ZqTriangleMesh meshFiles::read(const std::string& fileName)
{
   throw invalid(fileName, "this was built without Assimp, and reads no meshes");
}
#endif
