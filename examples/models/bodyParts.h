#pragma once

// Bodies that touch: with shapes, the masses of these, and what they are made of.

#include "modelParts.h"

#include <array>

namespace models
{
/// What a body is made of: the name by which contacts find its friction, its density (kg/m^3; a body that is
/// not filled to the last corner counts with less), and how its surface answers to being pressed in: by its
/// stiffness (N/m), and by what it takes out of a bounce (s/m).
///
/// Bodies of such size are stiffer by far. These are as stiff as steps of about a millisecond can follow.
struct Material
{
   const char* name;
   ZqReal density;
   ZqReal stiffness = 5e4;
   ZqReal dissipation = 1.0;
};
inline constexpr Material steel{"steel", 7850.0};
inline constexpr Material aluminium{"metal", 2700.0};
inline constexpr Material housing{"metal", 900.0}; // drives and gears behind sheet metal
inline constexpr Material rubber{"rubber", 1200.0, 3e4, 2.0};
inline constexpr Material wood{"wood", 650.0};
inline constexpr Material concrete{"concrete", 2400.0};

/// Static and kinetic friction of two materials.
struct Friction
{
   const char* first;
   const char* second;
   ZqReal atRest;
   ZqReal sliding;
};
inline constexpr std::array frictions{
   Friction{"rubber", "rubber", 1.0, 0.9},    Friction{"rubber", "concrete", 0.9, 0.75},
   Friction{"rubber", "wood", 0.8, 0.7},      Friction{"rubber", "steel", 0.8, 0.7},
   Friction{"rubber", "metal", 0.8, 0.7},     Friction{"concrete", "concrete", 0.7, 0.6},
   Friction{"concrete", "wood", 0.6, 0.5},    Friction{"concrete", "steel", 0.55, 0.45},
   Friction{"concrete", "metal", 0.55, 0.45}, Friction{"wood", "wood", 0.45, 0.35},
   Friction{"wood", "steel", 0.4, 0.3},       Friction{"wood", "metal", 0.4, 0.3},
   Friction{"steel", "steel", 0.5, 0.4},      Friction{"steel", "metal", 0.5, 0.4},
   Friction{"metal", "metal", 0.5, 0.4}};

/// Contact in which each point presses, sticks and slips for itself.
inline ZqPointContactForceProcessor contactLaw()
{
   ZqFrictionCoefficientLookupTool table;
   for (const Friction& friction : frictions)
   {
      table.setTangentialCoefficientOfStaticFriction(friction.first, friction.second,
                                                     friction.atRest);
      table.setCoefficientOfKineticFriction(friction.first, friction.second, friction.sliding);
   }
   ZqPointFrictionForceProcessor sticking;
   sticking.setFrictionCoefficientLUT(table);
   ZqPointContactForceProcessor law;
   law.setDissipativeForceProcessor(sticking);
   return law;
}

inline ZqLinkCollisionForce contact(const ZqPointContactForceProcessor& law = contactLaw())
{
   ZqCollisionForceContainer container;
   container.setTopElement(law);
   ZqLinkCollisionForce result;
   result.setCollisionForceContainer(container);
   return result;
}

inline void addInteraction(ZqStatedSystem& scene, const ZqBaseLinkInteractions& interaction)
{
   ZqLinkInteractionsVector interactions = scene.system().linkInteractionsVector();
   interactions.pushBack(interaction);
   scene.setLinkInteractionsVector(interactions);
}

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
      surface.add(ZqString(ZqFoundCommon::ZqSurfaceTensionSpringConstantToken.localName()),
                  material.stiffness);
      surface.add(ZqString(ZqManip::ZqSurfaceDissipationToken.localName()), material.dissipation);
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

inline ZqBox box(const ZqVector& center, const ZqVector& size)
{
   return {center, size * 0.5};
}
inline ZqBox box(ZqReal x, ZqReal y, ZqReal z)
{
   return box(ZqVector(), ZqVector(x, y, z));
}
inline ZqDenavitHartenberg sliding(const ZqOrientation& axis, const ZqVector& point,
                                   const ZqOrientation& axisOfParent = {})
{
   return joint(ZqDenavitHartenberg::Prismatic, axis, point, axisOfParent);
}

/// A drive of at most this torque (N m, or N of a sliding joint) and rate.
inline ZqJointActuator strongDrive(ZqReal lowerLimit, ZqReal upperLimit, ZqReal torque, ZqReal rate)
{
   ZqJointActuator actuator = drive(lowerLimit, upperLimit);
   actuator.setMaxOutputRate(rate);
   ZqPassThroughPowerConverter converter;
   converter.setMinTorque(-torque);
   converter.setMaxTorque(torque);
   actuator.setPowerConverter(converter);
   return actuator;
}

/// With friction in proportion to the rate (N s/m, or N m s).
inline ZqJointActuator damped(ZqJointActuator actuator, ZqReal damping)
{
   actuator.setFrictionCoefficient(damping);
   return actuator;
}

inline ZqManipulatorLink link(const ZqString& label, const ZqLinkKinematics& joint,
                              const Parts& parts, const ZqJointActuator& actuator)
{
   ZqManipulatorLink result = models::link(label, joint, {}, actuator);
   parts.make(result);
   return result;
}

/// A manipulator whose links may all collide with each other, but for those that hang together.
inline ZqIndividualManipulator manipulator(const ZqString& label, const Parts& baseParts,
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

inline ZqIndividualManipulator freeBody(const ZqString& label, const Parts& parts)
{
   ZqIndividualManipulator result = manipulator(label, parts, {});
   result.setIsFixedBase(false);
   return result;
}

/// The floor is the first manipulator of a scene: all below z = 0. What touches acts.
inline ZqStatedSystem sceneOnFloor(const Material& material = concrete,
                                   const ZqPointContactForceProcessor& law = contactLaw())
{
   const ZqHalfSpace ground{ZqPlane(ZqVector(), ZqVector(0.0, 0.0, 1.0))};
   ZqStatedSystem scene = emptyScene();
   addInteraction(scene, contact(law));
   scene.addManipulator(manipulator("floor", {"ground", material, ground}, {}), position({}),
                        rest(0));
   return scene;
}

inline void place(ZqStatedSystem& scene, const ZqIndividualManipulator& body,
                  const ZqCoordinateSystemTransformation& X)
{
   scene.addManipulator(body, position({}, X), rest(0));
}

/// What stands on something, the floor if nothing else is told, and stays there.
inline void standFast(ZqStatedSystem& scene, ZqU32 manipulator, ZqU32 below = 0)
{
   ZqSystemCollisionExclusionMap map = scene.system().collisionExclusionMap();
   map.excludeLinkCollisionCandidate(below, "base", manipulator, "base");
   scene.setCollisionExclusionMap(map);
}
} // namespace models
