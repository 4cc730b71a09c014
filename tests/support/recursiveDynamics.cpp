#include "support/recursiveDynamics.h"

#include "zqManipulator/foundation/algebra/ZqValueOrZero.h"
#include "zqManipulator/foundation/geometry/ZqPlane.h"

#include <Eigen/Dense>

namespace zqTest
{
namespace
{
const ZqLinkKinematicsContainer& jointOf(const RecursiveBody& body)
{
   return body.link->linkKinematicsContainer();
}
ZqGeneralMotion unitMotion(const RecursiveBody& body)
{
   return jointOf(body).calculateAcceleration(body.q, 0.0, 1.0);
}
/// A motion of the parent as it is at the DH frame of a body, in its axes.
ZqGeneralMotion carried(const RecursiveBody& body, const ZqGeneralMotion& ofParent)
{
   const ZqVector& p = body.X.translation();
   return body.X.orientation().inverse() *
          ZqGeneralMotion(ofParent.linear() + ofParent.angular().cross(p), ofParent.angular());
}
/// A force on a body as it is felt at the DH frame of its parent, in its axes.
ZqGeneralForce carriedInwards(const RecursiveBody& body, const ZqGeneralForce& force)
{
   const ZqVector f = body.X.orientation() * force.force();
   const ZqVector n = body.X.orientation() * force.moment();
   return {f, n + body.X.translation().cross(f)};
}
ZqVector centripetal(const ZqVector& omega, const ZqVector& p)
{
   return omega.cross(omega.cross(p));
}
} // namespace

ZqManipulatorActiveState MotionInput::activeState() const
{
   ZqManipulatorActiveState state;
   state.setPositionState(position);
   state.setVelocityState(velocity);
   state.setAccelerationState(acceleration);
   for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
      link->jointActuator().initializeActuatorStates(state);
   return state;
}

RecursiveDynamics::RecursiveDynamics(const MotionInput& input)
   : m_input(input), m_state(input.activeState())
{
   m_bodies.resize(input.manipulator.linkPointerVector().size() + 1);
   place();
   move();
   gather();
   articulate();
}

void RecursiveDynamics::place()
{
   const auto& links = m_input.manipulator.linkPointerVector();
   for (std::size_t i = 0; i < m_bodies.size(); ++i)
   {
      RecursiveBody& body = m_bodies[i];
      if (i == 0)
      {
         body.link = &m_input.manipulator;
         body.dhFrame = m_input.manipulator.coordSysXForm() * m_input.position.coordSysXForm();
      }
      else
      {
         body.link = links[i - 1];
         const ZqU32 parent = body.link->parentLink()->linkIndex();
         body.parent = parent == ZqBaseLinkIndex ? 0 : parent + 1;
         body.q = Zq::valueOrZero(m_input.position.jointPositions(), i - 1);
         body.qd = Zq::valueOrZero(m_input.velocity.jointVelocities(), i - 1);
         body.qdd = Zq::valueOrZero(m_input.acceleration.jointAccelerations(), i - 1);
         body.X = jointOf(body).calculateTransform(body.q);
         body.dhFrame = m_bodies[body.parent].dhFrame * body.X;
      }
      body.primaryFrame = body.dhFrame * body.link->primaryFrame();
      body.mass = body.link->massPropertiesInDHFrame(m_input.scene);
      body.mass.getCenterOfMass(body.center);
   }
}

void RecursiveDynamics::move()
{
   RecursiveBody& base = m_bodies[0];
   const ZqOrientation toBase = base.dhFrame.orientation().inverse();
   base.velocity = toBase * m_input.velocity.generalVelocity();
   base.acceleration = toBase * m_input.acceleration.generalAcceleration();
   for (std::size_t i = 1; i < m_bodies.size(); ++i)
   {
      RecursiveBody& body = m_bodies[i];
      const RecursiveBody& parent = m_bodies[body.parent];
      const ZqOrientation toBody = body.X.orientation().inverse();
      const ZqVector omega = toBody * parent.velocity.angular();
      const ZqGeneralMotion added = jointOf(body).calculateVelocity(body.q, body.qd);
      const ZqVector inwards = centripetal(parent.velocity.angular(), body.X.translation());
      body.velocity = carried(body, parent.velocity) + added;
      body.acceleration = carried(body, parent.acceleration) +
                          ZqGeneralMotion(toBody * inwards + omega.cross(added.linear()) * 2.0,
                                          omega.cross(added.angular())) +
                          jointOf(body).calculateAcceleration(body.q, body.qd, body.qdd);
   }
   for (RecursiveBody& body : m_bodies)
   {
      const ZqVector& c = body.center;
      const ZqVector& omega = body.velocity.angular();
      const ZqVector& alpha = body.acceleration.angular();
      body.centerVelocity = {body.velocity.linear() + omega.cross(c), omega};
      body.centerAcceleration = {
         body.acceleration.linear() + alpha.cross(c) + centripetal(omega, c), alpha};
   }
}

void RecursiveDynamics::gather()
{
   for (RecursiveBody& body : m_bodies)
   {
      const ZqReal m = body.mass.mass();
      const ZqVector& omega = body.velocity.angular();
      const ZqSecondMoment I =
         ZqRigidBodyMassProperties(body.mass).transformBy(-body.center).secondMoment();
      body.momentum = {body.centerVelocity.linear() * m, I * omega};
      body.momentumRate = {body.centerAcceleration.linear() * m,
                           I * body.acceleration.angular() + omega.cross(I * omega)};
      body.ownForce = {body.momentumRate.linear(),
                       body.momentumRate.angular() + body.center.cross(body.momentumRate.linear())};
      if (const ZqGeneralForce* external = m_input.external.forceOn(body.link->linkIndex()))
         body.ownForce = body.ownForce - *external;
      body.compositeMomentum = body.momentum;
      body.compositeMomentumRate = body.momentumRate;
      body.force = body.ownForce;
      body.composite = body.mass;
   }
   for (std::size_t i = m_bodies.size(); i-- > 1;)
   {
      const RecursiveBody& body = m_bodies[i];
      RecursiveBody& parent = m_bodies[body.parent];
      parent.compositeMomentum += body.X.orientation() * body.compositeMomentum;
      parent.compositeMomentumRate += body.X.orientation() * body.compositeMomentumRate;
      parent.force += carriedInwards(body, body.force);
      parent.composite += ZqRigidBodyMassProperties(body.composite).transformBy(body.X);
   }
}

void RecursiveDynamics::articulate()
{
   const auto& torques = m_input.torque.jointTorques();
   const auto driveInertia = [](const RecursiveBody& body)
   { return body.link->jointActuator().effectiveInertia(body.q); };
   for (RecursiveBody& body : m_bodies)
      body.articulated = {body.mass, body.ownForce};
   for (std::size_t i = m_bodies.size(); i-- > 1;)
   {
      const RecursiveBody& body = m_bodies[i];
      // Without a joint, or with one that does not move, the body is a part of its parent.
      m_bodies[body.parent].articulated.joinWith(
         body.articulated, unitMotion(body), driveInertia(body), Zq::valueOrZero(torques, i - 1),
         ZqRotationMatrix(body.X.orientation()), body.X.translation());
   }
   if (!m_input.manipulator.isFixedBase())
      m_bodies[0].addedAcceleration =
         base().articulated.calculateAcceleration(m_input.torque.generalForce());
   for (std::size_t i = 1; i < m_bodies.size(); ++i)
   {
      RecursiveBody& body = m_bodies[i];
      const ZqGeneralMotion inboard = carried(body, m_bodies[body.parent].addedAcceleration);
      const ZqReal required =
         jointOf(body).torqueRequiredToExert(body.q, body.articulated.calculateForce(inboard));
      const ZqReal inertia =
         jointOf(body).unitAccelerationTorque(body.q, body.articulated.inertia()) +
         driveInertia(body);
      if (inertia != 0.0)
         body.addedJointAcceleration = (Zq::valueOrZero(torques, i - 1) - required) / inertia;
      body.addedAcceleration =
         inboard + jointOf(body).calculateAcceleration(body.q, 0.0, body.addedJointAcceleration);
   }
}

ZqGeneralMotion RecursiveBody::velocityInSystem(const ZqVector& point) const
{
   return dhFrame.orientation() *
          ZqGeneralMotion(velocity.linear() + velocity.angular().cross(point), velocity.angular());
}

ZqVector RecursiveDynamics::momentOfLinear(const RecursiveBody& body, const ZqVector& point) const
{
   // A subtree follows its root.
   const auto first = static_cast<std::size_t>(&body - m_bodies.data());
   ZqVector sum;
   for (std::size_t i = first; i < first + body.link->subtreeLinkCount(); ++i)
   {
      const ZqCoordinateSystemTransformation& X = m_bodies[i].dhFrame;
      sum += (X * m_bodies[i].center - point)
                .cross(X.orientation() * m_bodies[i].momentumRate.linear());
   }
   return sum;
}

ZqReArray RecursiveDynamics::massMatrix() const
{
   const auto n = static_cast<ZqU32>(m_bodies.size() - 1);
   ZqReArray M(n + 6, n + 6);
   for (std::size_t j = 1; j <= n; ++j)
   {
      // What a unit acceleration of joint j asks of each joint inboard of it, and of the base.
      ZqGeneralForce F = m_bodies[j].composite.calculateForce(unitMotion(m_bodies[j]));
      for (std::size_t i = j; i != 0; i = m_bodies[i].parent)
      {
         M[i - 1][j - 1] = M[j - 1][i - 1] =
            jointOf(m_bodies[i]).torqueRequiredToExert(m_bodies[i].q, F);
         F = carriedInwards(m_bodies[i], F);
      }
      for (std::size_t k = 0; k < 6; ++k)
         M[n + k][j - 1] = M[j - 1][n + k] = F[k];
   }
   ZqReArray I;
   base().composite.getArray(I);
   for (std::size_t i = 0; i < 6; ++i)
      std::copy_n(I[i].begin(), 6, M[n + i].begin() + n);
   return M;
}

std::vector<ZqReal> RecursiveDynamics::bodyTorques() const
{
   std::vector<ZqReal> torques;
   for (std::size_t i = 1; i < m_bodies.size(); ++i)
   {
      const RecursiveBody& body = m_bodies[i];
      torques.push_back(jointOf(body).torqueRequiredToExert(body.q, body.force) +
                        body.link->totalLocalTorque(m_state) +
                        body.link->jointActuator().effectiveInertia(body.q) * body.qdd);
   }
   return torques;
}

std::vector<ZqReal> RecursiveDynamics::driveTorques(const std::vector<ZqReal>& commands) const
{
   std::vector<ZqReal> torques = bodyTorques();
   for (std::size_t i = 0; i < torques.size(); ++i)
      torques[i] =
         m_bodies[i + 1].link->jointActuator().mechanicalComponentContainer().outputTorque(
            i < commands.size() ? commands[i] : 0.0, torques[i], m_state);
   return torques;
}

std::vector<ZqReal> RecursiveDynamics::linearDriveTorques() const
{
   std::vector<ZqReal> torques;
   for (std::size_t i = 1; i < m_bodies.size(); ++i)
      torques.push_back(
         m_bodies[i].link->jointActuator().mechanicalComponentContainer().linearTorque(m_state));
   return torques;
}

RecursiveDynamics::Solution RecursiveDynamics::solve() const
{
   using Matrix = Eigen::Matrix<long double, Eigen::Dynamic, Eigen::Dynamic>;
   using Vector = Eigen::Matrix<long double, Eigen::Dynamic, 1>;
   ZqReArray M = massMatrix();
   const std::size_t n = m_bodies.size() - 1;
   const std::size_t used = m_input.manipulator.isFixedBase() ? n : n + 6;
   std::vector<ZqReal> b = driveTorques(m_input.torque.jointTorques().values());
   const std::vector<ZqReal> asked = bodyTorques();
   for (std::size_t i = 0; i < n; ++i)
   {
      M[i][i] += m_bodies[i + 1].link->jointActuator().effectiveInertia(m_bodies[i + 1].q);
      b[i] -= asked[i];
   }
   for (std::size_t k = 0; k < 6; ++k)
      b.push_back(m_input.torque.generalForce()[k] - base().force[k]);

   std::vector<std::size_t> moved;
   Solution result{std::vector<ZqReal>(n + 6), std::vector<ZqReal>(n + 6), 1.0};
   for (std::size_t i = 0; i < used; ++i)
      if (M[i][i] > 0.0)
      {
         result.scale[i] = std::sqrt(M[i][i]);
         moved.push_back(i);
      }
   if (moved.empty())
      return result;
   const auto size = static_cast<Eigen::Index>(moved.size());
   const auto at = [&](Eigen::Index i) { return moved[static_cast<std::size_t>(i)]; };
   const auto scale = [&](Eigen::Index i) { return static_cast<long double>(result.scale[at(i)]); };
   const Matrix A = Matrix::NullaryExpr(size, size,
                                        [&](Eigen::Index i, Eigen::Index j)
                                        { return M[at(i)][at(j)] / scale(i) / scale(j); });
   const Vector x = A.ldlt().solve(
      Vector(Vector::NullaryExpr(size, [&](Eigen::Index i) { return b[at(i)] / scale(i); })));
   for (Eigen::Index i = 0; i < size; ++i)
      result.accelerations[at(i)] = static_cast<ZqReal>(x(i) / scale(i));
   const Vector lambda =
      Eigen::SelfAdjointEigenSolver<Matrix>(A, Eigen::EigenvaluesOnly).eigenvalues();
   result.condition = static_cast<ZqReal>(lambda.maxCoeff() / lambda.minCoeff());
   return result;
}

std::vector<ZqReal> RecursiveDynamics::weight(const ZqVector& upGravity) const
{
   std::vector<ZqReal> torques;
   for (std::size_t i = 1; i < m_bodies.size(); ++i)
   {
      const RecursiveBody& body = m_bodies[i];
      const ZqVector up = body.dhFrame.orientation().inverse() * upGravity;
      torques.push_back(jointOf(body).torqueRequiredToExert(
         body.q, body.composite.calculateForce({up, ZqVector()})));
   }
   return torques;
}

std::vector<ZqReal> RecursiveDynamics::weightGradient(ZqU32 joint, const ZqVector& upGravity) const
{
   // The weight's second derivatives: how the axis of the inner joint turns the momentum that the outer one
   // gives to its subtree.
   std::vector<ZqReal> gradient(m_bodies.size() - 1);
   for (std::size_t other = 1; other < m_bodies.size(); ++other)
   {
      const std::size_t inner = std::min<std::size_t>(other, joint + 1);
      const std::size_t outer = std::max<std::size_t>(other, joint + 1);
      if (outer >= inner + m_bodies[inner].link->subtreeLinkCount())
         continue;
      const RecursiveBody& body = m_bodies[outer];
      const ZqVector axis =
         m_bodies[inner].dhFrame.orientation() * unitMotion(m_bodies[inner]).angular();
      const ZqVector momentum =
         body.dhFrame.orientation() * body.composite.calculateForce(unitMotion(body)).force();
      gradient[other - 1] = axis.cross(momentum).dot(upGravity);
   }
   return gradient;
}

ZqReal RecursiveDynamics::kineticEnergy() const
{
   ZqReal sum = 0.0;
   for (const RecursiveBody& body : m_bodies)
      sum += 0.5 * (body.momentum.linear().dot(body.centerVelocity.linear()) +
                    body.momentum.angular().dot(body.velocity.angular()));
   return sum;
}

ZqVector RecursiveDynamics::centerOfMassInSystem() const
{
   ZqVector sum;
   ZqReal mass = 0.0;
   for (const RecursiveBody& body : m_bodies)
   {
      sum += body.dhFrame * body.center * ZqReal(body.mass.mass());
      mass += body.mass.mass();
   }
   return sum / mass;
}

ZqVector RecursiveDynamics::zeroMomentPoint(const ZqPlane& plane, const ZqVector& downGravity) const
{
   const ZqGeneralMotion rate = base().dhFrame.orientation() * base().compositeMomentumRate;
   const ZqVector weight = downGravity * ZqReal(base().composite.mass());
   const ZqVector lever = centerOfMassInSystem() - plane.basePoint();
   const ZqVector force = weight - rate.linear();
   const ZqVector moment =
      lever.cross(weight) - momentOfLinear(base(), plane.basePoint()) - rate.angular();
   const ZqVector& n = plane.normalVector();
   return plane.basePoint() + n.cross(moment) / force.dot(n);
}
} // namespace zqTest
