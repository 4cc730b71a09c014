// The example models that touch something: all their links have shapes, and masses from them.

#include "contactModels.h"

#include "modelParts.h"

namespace models
{
namespace
{
/// What a body is made of: the name by which contacts find its friction, and its density (kg/m^3). A body
/// that is not filled to the last corner counts with less.
struct Material
{
   const char* name;
   ZqReal density;
};
constexpr Material steel{"steel", 7850.0};
constexpr Material aluminium{"metal", 2700.0};
constexpr Material housing{"metal", 900.0}; // drives and gears behind sheet metal
constexpr Material rubber{"rubber", 1200.0};
constexpr Material wood{"wood", 650.0};
constexpr Material concrete{"concrete", 2400.0};

/// A body of parts: a shape, and the mass of all of them.
class Parts
{
public:
   template <class Shape>
   Parts(const ZqString& name, const Material& material, const Shape& shape)
   {
      add(name, material, shape);
   }
   template <class Shape>
   Parts& add(const ZqString& name, const Material& material, Shape shape)
   {
      ZqDataMap surface;
      surface.add(ZqString(ZqFoundCommon::ZqSurfaceMaterialTypeToken.localName()),
                  ZqString(material.name));
      ZqShape::Surfaces surfaces;
      surfaces.mapContainer()["0"] = surface;
      shape.setIdentifier(name);
      shape.setSurfaces(surfaces);
      m_shapes.addShapeToUnion(shape);
      const ZqExactSolid solid(shape);
      if (solid.isSolid())
         m_mass += solid.ofDensity(material.density);
      return *this;
   }
   /// Gives a link the shape, and the mass of all parts.
   void make(ZqManipulatorLink& link) const
   {
      const bool hasMass = m_mass.mass() > 0.0;
      link.setMassProperties(hasMass ? m_mass : ZqRigidBodyMassProperties::nullObject());
      if (m_shapes.memberCount() == 1)
         link.setShape(*m_shapes.member(0));
      else
         link.setShape(m_shapes);
   }

private:
   ZqShapeUnion m_shapes;
   ZqRigidBodyMassProperties m_mass;
};

ZqBox box(const ZqVector& center, const ZqVector& size)
{
   return {center, size * 0.5};
}
ZqBox box(ZqReal x, ZqReal y, ZqReal z)
{
   return box(ZqVector(), ZqVector(x, y, z));
}
ZqDenavitHartenberg sliding(const ZqOrientation& axis, const ZqVector& point,
                            const ZqOrientation& axisOfParent = {})
{
   return joint(ZqDenavitHartenberg::Prismatic, axis, point, axisOfParent);
}

/// A drive of at most this torque (N m, or N of a sliding joint) and rate.
ZqJointActuator strongDrive(ZqReal lowerLimit, ZqReal upperLimit, ZqReal torque, ZqReal rate)
{
   ZqJointActuator actuator = drive(lowerLimit, upperLimit);
   actuator.setMaxOutputRate(rate);
   ZqPassThroughPowerConverter converter;
   converter.setMinTorque(-torque);
   converter.setMaxTorque(torque);
   actuator.setPowerConverter(converter);
   return actuator;
}

ZqManipulatorLink link(const ZqString& label, const ZqLinkKinematics& joint, const Parts& parts,
                       const ZqJointActuator& actuator)
{
   ZqManipulatorLink result = models::link(label, joint, {}, actuator);
   parts.make(result);
   return result;
}

/// A manipulator whose links may all collide with each other, but for those that hang together.
ZqIndividualManipulator manipulator(const ZqString& label, const Parts& baseParts,
                                    const std::vector<ZqManipulatorLink>& children)
{
   ZqManipulatorLink base;
   base.setLinkLabel("base");
   baseParts.make(base);
   for (const ZqManipulatorLink& child : children)
      base.addChild(child);
   ZqIndividualManipulator result;
   result.setFromLink(base);
   result.setManipulatorLabel(label);

   ZqManipulatorSelfCollisionLinkMap pairs;
   pairs.buildMapFromSystem(result);
   pairs.setAllAsCollisionCandidates();
   for (ZqU32 i = 0; i < result.jointDof(); ++i)
   {
      const ZqManipulatorLink& child = *result.linkByIndex(i);
      const ZqString& name = child.linkLabel();
      pairs.setLinkCollisionCanditateByIdentifier(name, name, false);
      pairs.setLinkCollisionCanditateByIdentifier(name, child.parentLink()->linkLabel(), false);
   }
   pairs.setLinkCollisionCanditateByIdentifier("base", "base", false);
   result.setSelfCollisionLinkMap(pairs);
   return result;
}

ZqIndividualManipulator freeBody(const ZqString& label, const Parts& parts)
{
   ZqIndividualManipulator result = manipulator(label, parts, {});
   result.setIsFixedBase(false);
   return result;
}

/// The floor is the first manipulator of a scene: all below z = 0.
ZqStatedSystem sceneOnFloor()
{
   const ZqHalfSpace ground{ZqPlane(ZqVector(), ZqVector(0.0, 0.0, 1.0))};
   ZqStatedSystem scene = emptyScene();
   scene.addManipulator(manipulator("floor", {"ground", concrete, ground}, {}), position({}),
                        rest(0));
   return scene;
}

void place(ZqStatedSystem& scene, const ZqIndividualManipulator& body,
           const ZqCoordinateSystemTransformation& X)
{
   scene.addManipulator(body, position({}, X), rest(0));
}

/// What stands on the floor and stays there.
void excludeFromFloor(ZqStatedSystem& scene, ZqU32 manipulator)
{
   ZqSystemCollisionExclusionMap map = scene.system().collisionExclusionMap();
   map.excludeLinkCollisionCandidate(0, "base", manipulator, "base");
   scene.setCollisionExclusionMap(map);
}

/// A finger that slides to the left (1) or to the right (-1) of the hand, with a rubber pad inside that
/// reaches to the middle when the joint is at zero.
ZqManipulatorLink finger(const ZqString& label, ZqReal side)
{
   const ZqOrientation alongMinusY(0.5, 0.5, -0.5, 0.5);
   const Parts parts =
      Parts(label + "Blade", aluminium,
            box(ZqVector(0.045, 0.011 * side, 0.0), ZqVector(0.09, 0.012, 0.022)))
         .add(label + "Pad", rubber,
              box(ZqVector(0.07, 0.0025 * side, 0.0), ZqVector(0.036, 0.005, 0.02)));
   return link(label, sliding(side > 0.0 ? alongY : alongMinusY, ZqVector(0.23, 0.0, 0.0), alongX),
               parts, strongDrive(0.0, 0.045, 40.0, 0.15));
}
} // namespace

ZqStatedSystem gripper()
{
   const Parts post =
      Parts("foot", steel, box(ZqVector(-0.05, 0.0, 0.01), ZqVector(0.2, 0.24, 0.02)))
         .add("column", aluminium, box(ZqVector(-0.03, 0.0, 0.27), ZqVector(0.06, 0.08, 0.5)));
   const Parts carriageBody("carriageBody", housing,
                            box(ZqVector(0.035, 0.0, 0.05), ZqVector(0.07, 0.1, 0.09)));
   const Parts handBody =
      Parts("bar", aluminium, box(ZqVector(0.1325, 0.0, 0.0), ZqVector(0.125, 0.03, 0.03)))
         .add("palm", housing, box(ZqVector(0.2125, 0.0, 0.0), ZqVector(0.035, 0.13, 0.034)));

   ZqManipulatorLink hand = link("hand", sliding(alongX, ZqVector(), alongZ), handBody,
                                 strongDrive(0.0, 0.15, 60.0, 0.5));
   hand.addChild(finger("leftFinger", 1.0));
   hand.addChild(finger("rightFinger", -1.0));
   hand.addNamedPoint("grip", ZqVector(0.3, 0.0, 0.0));
   ZqManipulatorLink carriage = link("carriage", sliding(alongZ, ZqVector(0.0, 0.0, 0.03)),
                                     carriageBody, strongDrive(0.0, 0.4, 80.0, 0.5));
   carriage.addChild(hand);

   ZqStatedSystem scene = sceneOnFloor();
   scene.addManipulator(manipulator("gripper", post, {carriage}), position({0.0, 0.0, 0.04, 0.04}),
                        rest(4));
   place(scene, freeBody("block", {"block", wood, box(0.05, 0.05, 0.05)}),
         ZqVector(0.4, 0.0, 0.025));
   excludeFromFloor(scene, 1);
   return scene;
}

ZqStatedSystem tableTop()
{
   constexpr ZqReal top = 0.75;
   Parts table("top", wood, box(ZqVector(0.0, 0.0, top - 0.015), ZqVector(1.2, 0.8, 0.03)));
   for (const ZqReal x : {-0.55, 0.55})
      for (const ZqReal y : {-0.35, 0.35})
         table.add(ZqString(y > 0.0 ? "left" : "right") + (x > 0.0 ? "Front" : "Rear") + "Leg",
                   wood, box(ZqVector(x, y, 0.36), ZqVector(0.05, 0.05, 0.72)));

   ZqStatedSystem scene = sceneOnFloor();
   scene.addManipulator(manipulator("table", table, {}), position({}), rest(0));
   excludeFromFloor(scene, 1);

   const auto put = [&](const ZqString& label, const Parts& parts, const ZqVector& p, ZqReal turn) {
      place(scene, freeBody(label, parts), {p, ZqOrientation::zRotation(turn)});
   };
   put("crate", {"crate", wood, box(0.2, 0.15, 0.1)}, {-0.3, 0.1, top + 0.05}, 0.4);
   put("brick", {"brick", concrete, box(0.12, 0.06, 0.05)}, {-0.31, 0.1, top + 0.125}, 1.1);
   put("cube", {"cube", steel, box(0.04, 0.04, 0.04)}, {0.1, -0.2, top + 0.02}, 0.0);
   // A ramp of 30 degrees, whose origin is at its lower edge.
   std::vector<ZqVector> corners;
   for (const ZqReal y : {-0.04, 0.04})
      corners.insert(corners.end(), {{0.0, y, 0.0}, {0.12, y, 0.0}, {0.12, y, 0.0693}});
   put("wedge", {"wedge", wood, ZqConvexHull(corners)}, {0.3, 0.2, top}, -0.5);
   put("can",
       {"can", Material{"metal", 1000.0}, cylinder({0.0, 0.0, -0.06}, {0.0, 0.0, 0.06}, 0.033)},
       {0.35, -0.2, top + 0.06}, 0.0);
   // On its side, free to roll.
   put("roller", {"roller", aluminium, cylinder({0.0, -0.06, 0.0}, {0.0, 0.06, 0.0}, 0.03)},
       {0.02, 0.15, top + 0.03}, 0.3);
   return scene;
}

ZqStatedSystem mobileBase()
{
   constexpr ZqReal wheelRadius = 0.08;
   const Parts chassis("chassis", housing, box(0.5, 0.3, 0.12));
   const Parts wheelBody("tyre", rubber,
                         cylinder({0.0, -0.02, 0.0}, {0.0, 0.02, 0.0}, wheelRadius));
   std::vector<ZqManipulatorLink> children;
   for (const ZqReal x : {0.17, -0.17})
      for (const ZqReal y : {0.18, -0.18})
         children.push_back(
            link(ZqString(x > 0.0 ? "front" : "rear") + (y > 0.0 ? "Left" : "Right") + "Wheel",
                 turning(alongY, ZqVector(x, y, -0.05)), wheelBody,
                 strongDrive(-1e300, 1e300, 6.0, 15.0)));

   const auto limb = [](const ZqString& name, ZqReal length, ZqReal radius) {
      return Parts(name, housing, capsule({}, {0.0, 0.0, length}, radius));
   };
   const Parts turret("turret", housing, cylinder({}, {0.0, 0.0, 0.08}, 0.05));
   const Parts hand =
      Parts("handBody", housing, box({0.0, 0.0, 0.055}, {0.05, 0.09, 0.05}))
         .add("plate", aluminium, cylinder({0.0, 0.0, 0.08}, {0.0, 0.0, 0.09}, 0.025));
   children.push_back(chain({link("turret", turning(alongZ, ZqVector(0.12, 0.0, 0.06)), turret,
                                  strongDrive(-170.0 * degree, 170.0 * degree, 25.0, 2.5)),
                             link("upperArm", turning(alongY, ZqVector(0.0, 0.0, 0.12), alongZ),
                                  limb("upperArm", 0.25, 0.035), strongDrive(-2.0, 2.0, 40.0, 2.5)),
                             link("forearm", turning(alongY, ZqVector(0.0, 0.0, 0.25), alongY),
                                  limb("forearm", 0.2, 0.03), strongDrive(-2.6, 2.6, 20.0, 3.0)),
                             link("wrist", turning(alongY, ZqVector(0.0, 0.0, 0.2), alongY),
                                  limb("wrist", 0.06, 0.025), strongDrive(-2.0, 2.0, 8.0, 4.0)),
                             link("hand", turning(alongZ, ZqVector(0.0, 0.0, 0.06), alongY), hand,
                                  strongDrive(-175.0 * degree, 175.0 * degree, 4.0, 6.0))}));
   ZqIndividualManipulator robot = manipulator("robot", chassis, children);
   robot.setIsFixedBase(false);

   ZqStatedSystem scene = sceneOnFloor();
   // The wheels on the floor, and the arm folded over the chassis.
   scene.addManipulator(robot,
                        position({0.0, 0.0, 0.0, 0.0, 0.3, -0.6, 2.0, 0.9, 0.0},
                                 ZqVector(0.0, 0.0, wheelRadius + 0.05)),
                        rest(9));
   return scene;
}
} // namespace models
