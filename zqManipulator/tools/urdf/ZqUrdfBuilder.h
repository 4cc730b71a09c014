#pragma once

#include "zqManipulator/foundation/geometry/ZqShapeUnion.h"
#include "zqManipulator/kinematics/joint/ZqDenavitHartenberg.h"
#include "zqManipulator/kinematics/link/ZqManipulatorLink.h"
#include "zqManipulator/tools/urdf/ZqUrdfReader.h"
#include "zqManipulator/tools/urdf/ZqUrdfRobot.h"

namespace ZqUrdf
{
/// A moving link, or the base, in the making: a link of the document with all that is fixed to it, or a light link
/// within a joint of several degrees of freedom.
struct Body
{
   ZqString label;
   ZqU32 parent = none; ///< by number; the base has none
   ZqU32 childCount = 0;
   ZqU32 depth = 0;        ///< moving links from the base to this one
   ZqU32 joint = none;     ///< in the document, of one degree of freedom; else none
   unsigned long line = 0; ///< of the link
   bool turns = false;     ///< and does not slide
   ZqCoordinateSystemTransformation precursor;
   ZqOrientation axis; ///< takes z to the joint axis, in the frame of the link
   ZqRigidBodyMassProperties mass;
   ZqShapeUnion shapes;
   ZqManipulatorLink::NamedFrames frames;
};

/// Where the shapes of a document come from.
class ShapeMaker
{
public:
   ShapeMaker(const Robot& robot, const std::map<ZqString, ZqString>& packages,
              const ZqUrdfReader::MeshReader& meshReader, const ZqString& documentName,
              ZqConversionLosses& losses)
      : m_robot(robot), m_packages(packages), m_meshReader(meshReader),
        m_documentName(documentName), m_losses(losses)
   {
   }
   /// Adds what is the shape of a link: the collision shapes, or the visual ones where there are none.
   void addShapes(const Link& link, const ZqCoordinateSystemTransformation& place,
                  ZqShapeUnion& shapes);

private:
   void lose(const ZqString& element, const ZqString& text, unsigned long line);
   const Material* materialOf(const Shape& shape);
   const Shape* visualOf(const Shape& collision, const Link& link,
                         std::vector<bool>& isShown) const;
   void addShape(const Shape& shape, const Shape* visual,
                 const ZqCoordinateSystemTransformation& place, ZqShapeUnion& shapes);
   void addPlaced(ZqShape& made, const Shape& shape, const Shape* visual,
                  const ZqCoordinateSystemTransformation& place, ZqShapeUnion& shapes);
   bool makeMesh(const Shape& shape, ZqTriangleMesh& mesh);
   const std::optional<ZqTriangleMesh>& meshOf(const Shape& shape);
   std::optional<ZqString> locate(const Shape& shape);
   std::optional<ZqString> packageDirectory(const ZqString& name) const;

   const Robot& m_robot;
   const std::map<ZqString, ZqString>& m_packages;
   const ZqUrdfReader::MeshReader& m_meshReader;
   const ZqString& m_documentName;
   ZqConversionLosses& m_losses;
   ZqString m_place;
   std::map<ZqString, std::optional<ZqTriangleMesh>> m_meshes; ///< by the name in the document
};

/// Makes a scene of a robot and its tree.
class Builder
{
public:
   Builder(const Robot& robot, const Tree& tree, ShapeMaker& shapes, ZqConversionLosses& losses)
      : m_robot(robot), m_tree(tree), m_shapes(shapes), m_losses(losses)
   {
   }
   std::optional<Fault> build(bool hasFreeBase, ZqStatedSystem& scene);

private:
   /// A link of the document on its way to a body.
   struct Place
   {
      ZqU32 link = none;
      ZqU32 body = none;                      ///< the one that its parent belongs to
      ZqCoordinateSystemTransformation frame; ///< of its parent in that body
   };

   void lose(const ZqString& place, const ZqString& element, const ZqString& text,
             unsigned long line, ZqConversionLoss::Kind kind = ZqConversionLoss::Kind::Changed);
   ZqU32 takeBase();
   std::optional<Fault> makeBodies();
   ZqU32 addMovingLink(const Place& place, const Joint& joint);
   void addBody(ZqU32 parent, const Joint& joint, const ZqString& label,
                const ZqCoordinateSystemTransformation& origin, const ZqVector& axis, bool turns);
   void addContents(const Link& link, const ZqCoordinateSystemTransformation& frame, Body& body);
   void addFrame(const ZqString& name, const ZqCoordinateSystemTransformation& frame,
                 const ZqString& place, unsigned long line, Body& body);
   ZqString freeLabel(const ZqString& wanted);
   void checkMasses();
   std::optional<Fault> checkLimits(bool hasFreeBase) const;
   ZqJointActuator driveOf(const Joint& joint) const;
   void fillLink(const Body& body, ZqManipulatorLink& link) const;
   void fillManipulator(ZqIndividualManipulator& manipulator) const;
   void addMimics(ZqIndividualManipulator& manipulator) const;
   void setState(ZqStatedSystem& scene) const;
   ZqU32 linkIndexOf(ZqU32 joint) const { return m_bodyOfJoint[joint] - 1; }

   const Robot& m_robot;
   const Tree& m_tree;
   ShapeMaker& m_shapes;
   ZqConversionLosses& m_losses;
   std::map<ZqString, ZqU32> m_linkNumbers;
   std::map<ZqString, ZqU32> m_labels;
   std::vector<Body> m_bodies;       ///< parents before their children, the base first
   std::vector<ZqU32> m_bodyOfJoint; ///< by joint of one degree of freedom; else none
   ZqCoordinateSystemTransformation m_baseFrame;
   bool m_isFree = false;
};
} // namespace ZqUrdf
