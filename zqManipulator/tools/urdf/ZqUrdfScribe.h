#pragma once

#include "zqManipulator/kinematics/joint/ZqJointAxis.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/tools/urdf/ZqConversionLoss.h"
#include "zqManipulator/tools/urdf/ZqUrdfText.h"

#include <array>
#include <map>
#include <optional>
#include <set>
#include <vector>

namespace ZqUrdf
{
/// Where files of triangles go, and how the document names them.
struct MeshFolder
{
   ZqString folder;
   ZqString uri;
};

/// Writes the shapes of links. Each shape that is no compound is one visual and one collision element or more.
class ShapeScribe
{
public:
   ShapeScribe(const std::optional<MeshFolder>& folder, Text& text, ZqConversionLosses& losses)
      : m_folder(folder), m_text(text), m_losses(losses)
   {
   }
   /// The shape stands in a frame in the frame of the link. False when a file cannot be written.
   bool write(const ZqString& place, const ZqString& name, const ZqShape& shape,
              const ZqCoordinateSystemTransformation& frame);

private:
   using Frame = ZqCoordinateSystemTransformation;

   struct Geometry
   {
      ZqVector xyz; ///< in the link
      ZqVector rpy;
      std::string_view element;
      Text::Attributes attributes;
   };
   using Triangles = std::vector<std::array<ZqVector, 3>>;
   struct Written
   {
      const ZqShape* shape;
      std::vector<Geometry> geometries;
   };

   void lose(ZqConversionLoss::Kind kind, const ZqString& element, const ZqString& text);
   void loseOfShape(const ZqShape& shape);
   bool geometriesOf(const ZqShape& shape, const Frame& frame, std::vector<Geometry>& geometries);
   Geometry cylinder(ZqLineSegment segment, ZqReal radius, const Frame& frame);
   bool addMesh(const ZqShape& shape, const Frame& frame, std::vector<Geometry>& geometries);
   void addSurface(const ZqConvex& convex, Triangles& triangles);
   bool addTriangles(const Triangles& triangles, const Frame& frame,
                     std::vector<Geometry>& geometries);
   ZqString freeFileName();
   void writeElements(const char* element, const Written& written);
   void writeMaterial(const ZqShape& shape);

   const std::optional<MeshFolder>& m_folder;
   Text& m_text;
   ZqConversionLosses& m_losses;
   ZqString m_place; ///< of the link, in losses
   ZqString m_name;  ///< of the link, in the document
   std::set<ZqString> m_fileNames;
};

/// Writes one document.
class Scribe
{
public:
   Scribe(const ZqStatedSystem& scene, const std::optional<MeshFolder>& folder,
          ZqConversionLosses& losses)
      : m_scene(scene), m_losses(losses), m_shapes(folder, m_text, losses)
   {
   }
   /// False, with a message, when a number is not finite or a file cannot be written.
   bool write(ZqU32 manipulator);
   const ZqString& document() const { return m_text.document(); }

private:
   using Transform = ZqCoordinateSystemTransformation;
   static constexpr ZqU32 none = 0xFFFFFFFF;

   /// What its name in URDF, its frame and its joint are.
   struct Node
   {
      const ZqManipulatorLink* link = nullptr;
      ZqU32 manipulator = 0;
      ZqU32 parent = none; ///< by number; none of the root
      ZqString name;
      Transform place;              ///< of a base: in the link of the parent, or in the system
      Transform primary;            ///< the primary frame in the frame of the link
      Transform dhFrame;            ///< the DH frame in the frame of the link
      ZqVector xyz;                 ///< of the joint, in the link of the parent
      ZqVector rpy;                 ///< of the joint
      ZqVector axis{0.0, 0.0, 1.0}; ///< in the frame of the link
      const char* type = "fixed";
      ZqString jointName;
      bool hasFrame = false; ///< the primary frame is a link of its own
      struct Mimic
      {
         ZqU32 leader;
         ZqReal multiplier;
         ZqReal offset;
      };
      std::optional<Mimic> mimic;

      void setOrigin(const Transform& X);
      bool moves() const { return *type != 'f'; }
   };

   void lose(const ZqString& place, std::string_view element, const ZqString& text,
             ZqConversionLoss::Kind kind = ZqConversionLoss::Kind::Lost);
   const ZqIndividualManipulator& manipulatorOf(const Node& node) const
   {
      return *m_scene.manipulatorByIndex(node.manipulator);
   }
   ZqString placeOf(const Node& node) const;
   ZqReal positionOf(const Node& node) const;

   void collect(ZqU32 manipulator);
   ZqString freeName(const ZqString& wanted);
   void nameLinks();
   void nameJoint(Node& node);
   void place(Node& node);
   void placeJoint(Node& node, const ZqJointAxis& axis);
   void findMimics();
   void findMimics(ZqU32 manipulator, const std::vector<ZqU32>& nodes);
   bool addMimic(const std::vector<ZqReal>& weights, ZqReal sum, const std::vector<ZqU32>& nodes);
   bool follows(ZqU32 follower, ZqU32 leader) const;

   void writeWorld();
   bool writeNode(const Node& node);
   void writeLimit(const Node& node);
   void writeDynamics(const Node& node);
   void writeJoint(const Node& node);
   void writeMass(const Node& node);
   void writeFrames(const Node& node);
   bool hasOwnDamper(const Node& node) const;
   void writeNamed(const Node& node, const ZqString& name, const Transform& frame,
                   std::string_view element);
   void writeFrame(const Node& node, const ZqString& name, const ZqString& joint,
                   const Transform& frame);
   void writeTransmission(const Node& node);

   void loseOfLink(const Node& node);
   void loseOfDrive(const Node& node);
   void loseOfManipulator(ZqU32 manipulator);
   void loseOfScene();

   const ZqStatedSystem& m_scene;
   ZqConversionLosses& m_losses;
   Text m_text;
   ShapeScribe m_shapes;
   std::vector<Node> m_nodes;  ///< parents before their children
   std::set<ZqString> m_names; ///< of links and joints
   std::set<ZqU32> m_written;  ///< manipulators
   ZqString m_world;
   bool m_hasWorld = false;
};
} // namespace ZqUrdf
