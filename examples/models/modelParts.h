#pragma once

// What the example models are put together from.

#include "zqManipulator/zqManipulator.h"

#include <numbers>
#include <string>
#include <vector>

namespace models
{
inline constexpr ZqReal degree = std::numbers::pi / 180.0;

// Rotations that only rename the axes; in each, z becomes the axis of the name.
inline const ZqOrientation alongX(0.5, 0.5, 0.5, 0.5);
inline const ZqOrientation alongY(0.5, -0.5, -0.5, -0.5);
inline const ZqOrientation alongZ;

// Bodies, from the mass (kg) and the moments of inertia (kg m^2) about the center of mass c (m)

inline ZqRigidBodyMassProperties body(ZqReal mass, const ZqVector& c, const ZqVector& inertia)
{
   ZqRigidBodyMassProperties result(
      mass, ZqVector(), ZqSecondMoment(inertia.x(), inertia.y(), inertia.z(), 0.0, 0.0, 0.0));
   return result.transformBy(c);
}

inline ZqRigidBodyMassProperties box(ZqReal mass, const ZqVector& c, const ZqVector& size)
{
   const ZqVector square(size.x() * size.x(), size.y() * size.y(), size.z() * size.z());
   const ZqVector sums(square.y() + square.z(), square.z() + square.x(), square.x() + square.y());
   return body(mass, c, sums * (mass / 12.0));
}

/// A uniform slender rod along x.
inline ZqRigidBodyMassProperties rod(ZqReal mass, const ZqVector& c, ZqReal length)
{
   const ZqReal inertia = mass * length * length / 12.0;
   return body(mass, c, ZqVector(0.0, inertia, inertia));
}

// Joints and links

inline ZqJointActuator drive(ZqReal lowerLimit, ZqReal upperLimit)
{
   ZqMechanicalActuatorComponent part;
   part.setLowerLimit(lowerLimit);
   part.setUpperLimit(upperLimit);
   ZqJointActuator actuator;
   actuator.setMechanicalComponent(part);
   return actuator;
}

inline ZqManipulatorLink
link(const ZqString& label, const ZqLinkKinematics& joint, const ZqRigidBodyMassProperties& mass,
     const ZqJointActuator& actuator = drive(-170.0 * degree, 170.0 * degree))
{
   ZqManipulatorLink result;
   result.setLinkLabel(label);
   result.setLinkKinematics(joint);
   result.setMassProperties(mass);
   result.setJointActuator(actuator);
   return result;
}

/// The link with a shape, which leaves its mass as it is.
inline ZqManipulatorLink shaped(ZqManipulatorLink link, const ZqShape& shape)
{
   link.setShape(shape);
   return link;
}

inline ZqCapsule capsule(const ZqVector& from, const ZqVector& to, ZqReal radius)
{
   return {{from, to}, radius};
}
inline ZqCylinder cylinder(const ZqVector& from, const ZqVector& to, ZqReal radius)
{
   return {{from, to}, radius};
}

/// A rotational joint in Paul's convention.
inline ZqDenavitHartenberg paul(ZqReal a, ZqReal d, ZqReal alpha)
{
   ZqDenavitHartenberg joint;
   joint.setDhA(a);
   joint.setDhD(d);
   joint.setDhAlpha(alpha);
   return joint;
}

/// A joint about or along an axis through a point of its parent. The primary frames of all such links
/// are parallel when the joints are at zero, so that points and masses need not follow the joint axes.
inline ZqDenavitHartenberg joint(ZqU32 type, const ZqOrientation& axis, const ZqVector& point,
                                 const ZqOrientation& axisOfParent)
{
   ZqDenavitHartenberg result;
   result.setJointType(type);
   result.setDhType(ZqDenavitHartenberg::General);
   const ZqCoordinateSystemTransformation X_DP(axisOfParent.inverse());
   result.setPrecursor(X_DP * ZqCoordinateSystemTransformation(point, axis));
   result.setPrimaryFrame(axis.inverse());
   return result;
}

inline ZqDenavitHartenberg turning(const ZqOrientation& axis, const ZqVector& point,
                                   const ZqOrientation& axisOfParent = {})
{
   return joint(ZqDenavitHartenberg::Rotational, axis, point, axisOfParent);
}

/// Links one behind the other, as a tree below the first.
inline ZqManipulatorLink chain(std::vector<ZqManipulatorLink> links)
{
   for (std::size_t i = links.size() - 1; i > 0; --i)
      links[i - 1].addChild(links[i]);
   return links.front();
}

inline ZqIndividualManipulator manipulator(const ZqString& label,
                                           const ZqRigidBodyMassProperties& baseMass,
                                           const std::vector<ZqManipulatorLink>& children)
{
   ZqManipulatorLink base;
   base.setLinkLabel("base");
   base.setMassProperties(baseMass);
   for (const ZqManipulatorLink& child : children)
      base.addChild(child);
   ZqIndividualManipulator result;
   result.setFromLink(base);
   result.setManipulatorLabel(label);
   return result;
}

inline ZqIndividualManipulator onFixedBase(const ZqString& label,
                                           const ZqManipulatorLink& firstLink)
{
   return manipulator(label, ZqRigidBodyMassProperties::nullObject(), {firstLink});
}

// States and scenes

inline ZqPositionState position(const std::vector<ZqReal>& q,
                                const ZqCoordinateSystemTransformation& X = {})
{
   ZqPositionState state;
   state.jointPositions().values() = q;
   state.setCoordSysXForm(X);
   return state;
}

inline ZqVelocityState velocity(const std::vector<ZqReal>& rates, const ZqGeneralMotion& V = {})
{
   ZqVelocityState state;
   state.jointVelocities().values() = rates;
   state.setGeneralVelocity(V);
   return state;
}

inline ZqVelocityState rest(std::size_t jointCount)
{
   return velocity(std::vector<ZqReal>(jointCount));
}

inline ZqStatedSystem emptyScene()
{
   ZqSystemEnvironment environment;
   environment.setUpGravityVector(ZqVector(0.0, 0.0, 9.80665));
   ZqStatedSystem scene;
   scene.setEnvironment(environment);
   return scene;
}
} // namespace models
