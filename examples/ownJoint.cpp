// A joint of a class of one's own, in a document: one call makes it known. The scene is a vertical scotch
// yoke; its acceleration is compared with that of the textbook.

#include "zqManipulator/zqManipulator.h"

#include <algorithm>
#include <cmath>
#include <iostream>

namespace
{
constinit const ZqToken yokeToken{ZqToken::Literal{"http://example.org/machines#scotchYoke"}};
constinit const ZqToken radiusToken{ZqToken::Literal{"http://example.org/machines#crankRadius"}};

/// A slider that a crank drives by a slot: at the angle q of the crank (rad) it stands at r sin(q) on the z
/// axis of its precursor.
class ScotchYoke : public ZqXmlClass<ScotchYoke, ZqLinkKinematics>
{
public:
   static const ZqToken& classToken() { return yokeToken; }
   static constexpr auto components()
   {
      return std::tuple{ZqComponent{&ScotchYoke::m_precursor, &ZqManip::ZqPrecursorToken},
                        ZqComponent{&ScotchYoke::m_radius, &radiusToken}};
   }
   bool operator==(const ScotchYoke&) const = default;

   ZqReal radius() const { return m_radius; }

   const ZqCoordinateSystemTransformation& calculateTransform(ZqReal q) const override
   {
      return m_currentTransform = transformAt(q);
   }
   const ZqGeneralMotion& calculateVelocity(ZqReal q, ZqReal rate) const override
   {
      return m_currentVelocity = velocityAt(q, rate);
   }
   const ZqGeneralMotion& calculateAcceleration(ZqReal q, ZqReal rate,
                                                ZqReal acceleration) const override
   {
      return m_currentAcceleration = accelerationAt(q, rate, acceleration);
   }
   // These keep nothing, so that any number of threads may ask the joint.
   ZqCoordinateSystemTransformation transformAt(ZqReal q) const override
   {
      ZqCoordinateSystemTransformation result;
      transformBy(result, q);
      return result;
   }
   ZqGeneralMotion velocityAt(ZqReal q, ZqReal rate) const override
   {
      return {ZqVector(0.0, 0.0, m_radius * std::cos(q) * rate), ZqVector()};
   }
   ZqGeneralMotion accelerationAt(ZqReal q, ZqReal rate, ZqReal acceleration) const override
   {
      const ZqReal z = m_radius * (std::cos(q) * acceleration - std::sin(q) * rate * rate);
      return {ZqVector(0.0, 0.0, z), ZqVector()};
   }
   void transformBy(ZqCoordinateSystemTransformation& result, ZqReal q) const override
   {
      result *= m_precursor;
      result.outboardTransformBy(ZqVector(0.0, 0.0, m_radius * std::sin(q)));
   }
   void transformBy(const ZqCoordinateSystemTransformation& X) override
   {
      m_precursor = X * m_precursor;
   }
   void changeInboardFrameBy(const ZqCoordinateSystemTransformation& X) override
   {
      m_precursor *= X;
   }
   ZqReal upperBoundDhFrameDistance(const ZqJointActuator&) const override
   {
      return m_precursor.translation().mag() + std::abs(m_radius);
   }
   void scaleBy(ZqReal scale) override
   {
      ZqLinkKinematics::scaleBy(scale);
      m_precursor.scaleTranslationBy(scale);
      m_radius *= scale;
   }
   ZqReal jointParameterScalability() const override { return 0.0; } // an angle
   ZqU32 unitType() const override { return 1; }

private:
   ZqCoordinateSystemTransformation m_precursor;
   ZqReal m_radius = 1.0; // m
};

/// By Lagrange, in rad/s^2: (J + m r^2 cos^2 q) q'' = m r cos q (r sin q q'^2 - g), with J that of the crank.
ZqReal textbook(const ScotchYoke& joint, ZqReal mass, ZqReal inertia, ZqReal gravity, ZqReal q,
                ZqReal rate)
{
   const ZqReal slope = joint.radius() * std::cos(q);
   const ZqReal lift = joint.radius() * std::sin(q);
   return mass * slope * (lift * rate * rate - gravity) / (inertia + mass * slope * slope);
}
} // namespace

int main(int argumentCount, char** arguments)
{
   Zq::registerClass<ScotchYoke>();
   ZqStatedSystem scene;
   if (!Zq::load(scene, argumentCount > 1 ? arguments[1] : "examples/ownJoint.xml"))
      return 1;
   const ZqIndividualManipulator& machine = *scene.manipulatorByIndex(0);
   const ZqManipulatorLink& slider = *machine.linkByIndex(0);
   const auto* joint =
      dynamic_cast<const ScotchYoke*>(slider.linkKinematicsContainer().topElement());
   if (joint == nullptr)
      return 1;

   ZqPositionState position = scene.state().positionStates()[0];
   const ZqVelocityState& velocity = scene.state().velocityStates()[0];
   ZqArbiAccelerationTool tool;
   ZqAccelerationState acceleration;
   ZqReal worst = 0.0;
   std::cout << "q (rad)   q'' (rad/s^2)   textbook\n";
   for (const ZqReal q : {0.0, 0.7, 1.5, 2.5, 4.0})
   {
      position.jointPositions()[0] = q;
      tool.acceleration(scene, machine, position, velocity, ZqManipulatorTorque(),
                        ZqManipulatorExternalForce(), acceleration, nullptr);
      const ZqReal computed = acceleration.jointAccelerations()[0];
      const ZqReal expected = textbook(
         *joint, slider.massProperties().mass(), slider.jointActuator().effectiveInertia(0.0),
         scene.environment().upGravityVector().z(), q, velocity.jointVelocities()[0]);
      std::cout << q << "   " << computed << "   " << expected << '\n';
      worst = std::max(std::abs(computed - expected), worst);
   }

   ZqString document;
   ZqStatedSystem back;
   const bool isKept = Zq::toXml(scene, document) && Zq::fromXml(back, document) && back == scene;
   std::cout << "written and read again: " << (isKept ? "equal" : "not equal") << '\n';
   return isKept && worst < 1e-12 ? 0 : 1;
}
