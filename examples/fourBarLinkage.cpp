// A swing: a parallelogram of two bars that hang from the ground, the fourth bar, and of a third one
// between them. As a tree of links it is a chain, whose end a constraint holds to the ground. The solver
// keeps G a + G' v at zero, and so the loop closed but for what the steps add up to.

#include "zqManipulator/zqManipulator.h"

#include <algorithm>
#include <cmath>
#include <iomanip>
#include <iostream>
#include <numbers>

namespace
{
constexpr ZqReal hanger = 0.5; // m
constexpr ZqReal seat = 0.8;
constexpr ZqReal gravity = 9.80665;

/// A uniform rod along x, with 1 kg a metre, hinged about z at the end of the bar before it.
ZqManipulatorLink bar(const ZqString& label, ZqReal before, ZqReal length)
{
   ZqDenavitHartenberg hinge;
   hinge.setDhType(ZqDenavitHartenberg::Craig);
   hinge.setDhA(before);
   const ZqReal inertia = length * length * length / 3.0;
   ZqManipulatorLink link;
   link.setLinkLabel(label);
   link.setLinkKinematics(hinge);
   link.setMassProperties({length, ZqVector(0.5 * length * length, 0.0, 0.0),
                           ZqSecondMoment(0.0, inertia, inertia, 0.0, 0.0, 0.0)});
   return link;
}

/// The angular speed of the hangers at an angle from the horizontal, when they have swung from another:
/// half the inertia about the hinges times its square is what the weights have lost in height.
ZqReal speed(ZqReal angle, ZqReal start)
{
   const ZqReal inertia = 2.0 * hanger * hanger * hanger / 3.0 + seat * hanger * hanger;
   const ZqReal moment = hanger * hanger + seat * hanger;
   const ZqReal square = 2.0 * gravity * moment * (std::sin(start) - std::sin(angle)) / inertia;
   return std::sqrt(std::max(square, 0.0));
}
} // namespace

int main()
{
   ZqManipulatorLink chain = bar("hanger", 0.0, hanger);
   chain.addLinkToEndOfChain(bar("seat", hanger, seat));
   chain.addLinkToEndOfChain(bar("other hanger", seat, hanger));
   ZqIndividualManipulator swing;
   swing.setLinkLabel("ground");
   swing.addChild(chain);
   ZqXyStateEqualityConstraint pin; // in x and y: along z the hinges hold by themselves
   pin.setFirstLinkLabel("other hanger");
   pin.setFirstLinkPoint({hanger, 0.0, 0.0});
   pin.setSecondLinkLabel("ground");
   pin.setSecondLinkPoint({seat, 0.0, 0.0});
   ZqStateEqualityConstraintVector constraints;
   constraints.pushBack(pin);
   swing.setStateEqualityConstraints(constraints);

   ZqSystemEnvironment environment;
   environment.setUpGravityVector({0.0, gravity, 0.0});
   ZqStatedSystem scene;
   scene.setFromManipulator(swing);
   scene.setEnvironment(environment);
   const ZqIndividualManipulator& model = *scene.manipulatorByIndex(0);

   const ZqReal start = -0.8 * std::numbers::pi;
   ZqPositionState position;
   position.setJointPositions({start, -start, start - std::numbers::pi});
   ZqVelocityState velocity;
   velocity.setJointVelocities(ZqXmlVectorBasicType<ZqReal>(3));
   ZqAccelerationState acceleration;
   ZqCrbiAccelerationTool tool;
   const ZqManipulatorLink& last = *model.linkByIdentifier(pin.firstLinkLabel());
   ZqReal residual = 0.0; // of G a + G' v, m/s^2
   ZqReal slip = 0.0;     // between the speeds, rad/s
   ZqReal gap = 0.0;      // m
   const auto print = [](const auto&... columns)
   { ((std::cout << std::setw(15) << columns), ...) << '\n'; };
   print("time (s)", "angle (rad)", "speed (rad/s)", "by its energy", "gap (m)");
   constexpr ZqReal dt = 1e-4;
   for (int step = 0; step <= 10000; ++step)
   {
      tool.acceleration(scene, model, position, velocity, {}, {}, acceleration, nullptr, true);
      const ZqRealVector Ga =
         constraints.jacobian(model, position) * acceleration.jointAccelerations();
      const ZqRealVector Gv =
         constraints.jacobianDerivative(model, position, velocity) * velocity.jointVelocities();
      residual = std::max(std::hypot(Ga[0] + Gv[0], Ga[1] + Gv[1]), residual);

      const ZqReal angle = position.jointPositions()[0];
      const ZqReal rate = velocity.jointVelocities()[0];
      const ZqReal expected = std::copysign(speed(angle, start), rate);
      slip = std::max(std::abs(rate - expected), slip);
      ZqManipulatorActivePositionState frames;
      frames.setPositionState(position);
      const ZqVector end = last.primaryFrameInSystem(frames) * pin.firstLinkPoint();
      gap = std::max((end - pin.secondLinkPoint()).mag(), gap);
      if (step % 1000 == 0)
         print(step * dt, angle, rate, expected, gap);
      model.propagateVelocityState(acceleration, dt, velocity);
      model.propagateState(velocity, dt, position);
   }
   std::cout << "G a + G' v stays within " << residual << " m/s^2, should be 0\n";
   return residual < 1e-10 && slip < 0.05 && gap < 1e-6 ? 0 : 1;
}
