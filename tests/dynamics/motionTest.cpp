#include "support/comparison.h"
#include "support/logCapture.h"
#include "support/oddScene.h"
#include "support/xmlSamples.h"
#include "zqManipulator/dynamics/tools/ZqArbiAccelerationTool.h"
#include "zqManipulator/dynamics/tools/ZqCrbiAccelerationTool.h"
#include "zqManipulator/dynamics/tools/ZqGravitationalTorqueTool.h"
#include "zqManipulator/foundation/geometry/ZqPlane.h"

#include <functional>
#include <set>

// Every query of links and tools against the recursion that asks the joints link by link, and then along
// random walks through changes of states and models against active states that know of no change.

namespace
{
using Active = ZqManipulatorActiveState;
using Body = zqTest::RecursiveBody;
using Dynamics = zqTest::RecursiveDynamics;
using Frame = ZqCoordinateSystemTransformation;
using Input = zqTest::MotionInput;
using Link = ZqManipulatorLink;
using Numbers = std::vector<ZqReal>;
using zqTest::Comparison;
using zqTest::OddScene;
using zqTest::RandomValues;

/// \name What is answered, in numbers
/// @{
Numbers numbers(ZqReal x)
{
   return {x};
}
Numbers numbers(const Numbers& list)
{
   return list;
}
Numbers numbers(const ZqReArray& array)
{
   return {array.data(), array.data() + array.rows() * array.columns()};
}
Numbers numbers(const ZqVector& v)
{
   return {v.x(), v.y(), v.z()};
}
template <class Six>
requires std::derived_from<Six, ZqGeneralMotion> || std::derived_from<Six, ZqGeneralForce>
   Numbers numbers(const Six& v)
{
   return {v[0], v[1], v[2], v[3], v[4], v[5]};
}
Numbers numbers(const ZqRigidBodyMassProperties& body)
{
   ZqReArray array;
   body.getArray(array);
   return numbers(array);
}
template <class A, class B>
Numbers numbers(const A& a, const B& b)
{
   Numbers result = numbers(a);
   const Numbers other = numbers(b);
   result.insert(result.end(), other.begin(), other.end());
   return result;
}
Numbers numbers(const Frame& X)
{
   return numbers(X.translation(),
                  ZqGeneralMotion(X.orientation().xAxis(), X.orientation().yAxis()));
}
Numbers numbers(const ZqArticulatedBodyDynamics& body)
{
   ZqReArray array;
   body.getInertiaArray(array);
   return numbers(array, body.bias());
}
Numbers numbers(const ZqManipulatorTorque& torque)
{
   return numbers(torque.jointTorques().values(), torque.generalForce());
}
Numbers numbers(const ZqAccelerationState& state)
{
   return numbers(state.jointAccelerations().values(), state.generalAcceleration());
}
/// @}

const ZqVector somePoint(1.0, -0.5, 0.25);

/// What a link is asked. The base has no joint that accelerates, and is not asked for it.
struct LinkQuery
{
   const char* name;
   std::function<Numbers(const Link&, const Input&, Active&)> ask;
   std::function<Numbers(const Body&, const Dynamics&)> expected;
};
/// Queries without and with a scene, and with forces and torques as well, and a part of the reference.
template <class Result, class State>
auto asked(Result (Link::*query)(State&) const)
{
   return [query](const Link& link, const Input&, Active& active)
   {
      if constexpr (std::is_same_v<State, Active>)
         return numbers((link.*query)(active));
      else
         return numbers((link.*query)(active.activePositionState()));
   };
}
template <class Result>
auto asked(Result (Link::*query)(Active&, const ZqStatedSystemStruct*) const)
{
   return [query](const Link& link, const Input& in, Active& active)
   { return numbers((link.*query)(active, in.scene)); };
}
template <class Result>
auto asked(Result (Link::*query)(const ZqManipulatorExternalForce&, const ZqManipulatorTorque&,
                                 Active&, const ZqStatedSystemStruct*) const)
{
   return [query](const Link& link, const Input& in, Active& active)
   { return numbers((link.*query)(in.external, in.torque, active, in.scene)); };
}
template <class Part>
auto part(Part Body::*part)
{
   return [part](const Body& body, const Dynamics&) { return numbers(body.*part); };
}
const LinkQuery linkQueries[] = {
   {"DH frame", asked(&Link::dhFrameInSystem), part(&Body::dhFrame)},
   {"primary frame", asked(&Link::primaryFrameInSystem), part(&Body::primaryFrame)},
   {"velocity", asked(&Link::dhFrameVelocityInLocal), part(&Body::velocity)},
   {"velocity in system", asked(&Link::dhFrameVelocityInSystem),
    [](const Body& b, const Dynamics&) { return numbers(b.velocityInSystem({})); }},
   {"velocity of the primary frame", asked(&Link::primaryFrameVelocityInSystem),
    [](const Body& b, const Dynamics&)
    { return numbers(b.velocityInSystem(b.link->primaryFrame().translation())); }},
   {"velocity of the center", asked(&Link::comVelocityInLocal), part(&Body::centerVelocity)},
   {"acceleration", asked(&Link::dhFrameAccelerationInLocal), part(&Body::acceleration)},
   {"acceleration of the center", asked(&Link::comAccelerationInLocal),
    part(&Body::centerAcceleration)},
   {"momentum", asked(&Link::spatialMomentumInLocal), part(&Body::momentum)},
   {"rate of momentum", asked(&Link::spatialMomentumRateInLocal), part(&Body::momentumRate)},
   {"composite momentum", asked(&Link::compositeSpatialMomentumInLocal),
    part(&Body::compositeMomentum)},
   {"rate of composite momentum", asked(&Link::compositeSpatialMomentumRateInLocal),
    part(&Body::compositeMomentumRate)},
   {"moment of linear acceleration",
    [](const Link& l, const Input& in, Active& a)
    {
       ZqVector moment;
       l.computeMomentFromLinearAcceleration(somePoint, a, moment, in.scene);
       return numbers(moment);
    },
    [](const Body& b, const Dynamics& d) { return numbers(d.momentOfLinear(b, somePoint)); }},
   {"force",
    [](const Link& l, const Input& in, Active& a)
    { return numbers(l.dhFrameForceInLocal(in.external, a, in.scene)); },
    part(&Body::force)},
   {"composite body", asked(&Link::crbi), part(&Body::composite)},
   {"articulated body", asked(&Link::arbd), part(&Body::articulated)},
   {"solved acceleration", asked(&Link::arbiSupplementalDhFrameAccelerationInLocal),
    part(&Body::addedAcceleration)},
   {"solved joint acceleration",
    [](const Link& l, const Input& in, Active& a)
    {
       const bool isBase = l.linkIndex() == ZqBaseLinkIndex;
       return isBase ? Numbers{0.0}
                     : Numbers{l.arbiJointAcceleration(in.external, in.torque, a, in.scene)};
    },
    part(&Body::addedJointAcceleration)},
};
const LinkQuery& queryNamed(std::string_view name)
{
   return *std::find_if(std::begin(linkQueries), std::end(linkQueries),
                        [&](const LinkQuery& query) { return query.name == name; });
}

/// Links of a reference know only the base of its model: it is the reference that says where its base is
/// and what that does.
Numbers ask(const LinkQuery& query, const Link& link, const Input& input, Active& active)
{
   const ZqIndividualManipulator& manipulator = input.manipulator;
   manipulator.placeBase(active.activePositionState());
   if (&manipulator.concreteReference() != &manipulator)
      manipulator.arbiBaseAccelerationInLocal(input.external, input.torque, active, input.scene);
   return query.ask(link, input, active);
}

/// Tools for a manipulator, whatever they were used for before.
struct Tools
{
   Tools& of(const ZqIndividualManipulator& manipulator)
   {
      total.setManipulator(&manipulator);
      mass.setManipulator(&manipulator);
      coupling.setManipulator(&manipulator);
      gravity.setManipulator(&manipulator);
      return *this;
   }

   ZqTotalTorqueTool total;
   ZqMassMatrixTool mass;
   ZqMatrixDTool coupling;
   ZqGravitationalTorqueTool gravity;
   ZqCrbiAccelerationTool crbi;
   ZqArbiAccelerationTool arbi;
};

const ZqVector upGravity(1.0, -2.0, 9.0);
const ZqVector strongGravity(10.0, -20.0, -90.0); // which no acceleration of a scene makes up for
const ZqPlane somePlane(somePoint, ZqVector(0.6, 0.0, 0.8));

auto totalTorques(ZqTotalTorqueTool::ZqTotalTorqueType type)
{
   return [type](Tools& t, OddScene&, const Input& in, Active& a)
   {
      t.total.setTotalTorqueType(type);
      return numbers(t.total.torques(in.external, a, in.scene));
   };
}
Numbers sum(const Numbers& a, const Numbers& b, ZqReal sign = 1.0)
{
   Numbers result(a);
   for (std::size_t i = 0; i < b.size(); ++i)
      result[i] += sign * b[i];
   return result;
}
/// The block of a mass matrix from these rows and columns on.
Numbers block(const ZqReArray& M, std::size_t rows, std::size_t firstColumn, std::size_t columns)
{
   Numbers result;
   for (std::size_t i = 0; i < rows; ++i)
      result.insert(result.end(), M[i].begin() + firstColumn, M[i].begin() + firstColumn + columns);
   return result;
}
/// The accelerations when drives get the torques for commands. Springs and dampers take their part.
Numbers drivenAccelerations(const Dynamics& d, const Input& in)
{
   const Active state = in.activeState();
   Numbers torques = d.driveTorques(in.torque.jointTorques().values());
   for (std::size_t i = 0; i < torques.size(); ++i)
      torques[i] -= d.bodies()[i + 1].link->totalLocalTorque(state);
   Input net(in);
   net.torque.setJointTorques(torques);
   const Dynamics driven(net);
   for (std::size_t i = 0; i < torques.size(); ++i)
      torques[i] = driven.bodies()[i + 1].addedJointAcceleration;
   return numbers(torques, d.base().dhFrame.orientation() * driven.base().addedAcceleration);
}

/// What tools are asked.
struct ToolQuery
{
   const char* name;
   std::function<Numbers(Tools&, OddScene&, const Input&, Active&)> ask;
   std::function<Numbers(const Dynamics&, const Input&)> expected;
};
const ToolQuery toolQueries[] = {
   {"body torques", totalTorques(ZqTotalTorqueTool::BodyTorque),
    [](const Dynamics& d, const Input&) { return numbers(d.bodyTorques(), d.base().force); }},
   {"torques with linear ones", totalTorques(ZqTotalTorqueTool::LinearTorqueAdded),
    [](const Dynamics& d, const Input&)
    { return numbers(sum(d.bodyTorques(), d.linearDriveTorques()), d.base().force); }},
   {"torques to command", totalTorques(ZqTotalTorqueTool::ActuatorOutputSubtracted),
    [](const Dynamics& d, const Input&)
    { return numbers(sum(d.bodyTorques(), d.driveTorques({}), -1.0), d.base().force); }},
   {"torque by torque",
    [](Tools& t, OddScene&, const Input& in, Active& a)
    {
       t.total.setTotalTorqueType(ZqTotalTorqueTool::BodyTorque);
       Numbers result(in.manipulator.jointDof());
       for (ZqU32 i = 0; i < result.size(); ++i)
          result[i] = t.total.torque(i, in.external, a, in.scene);
       return result;
    },
    [](const Dynamics& d, const Input&) { return d.bodyTorques(); }},
   {"mass matrix",
    [](Tools& t, OddScene&, const Input& in, Active& a)
    { return numbers(t.mass.massMatrix(a, in.scene)); },
    [](const Dynamics& d, const Input& in)
    { return block(d.massMatrix(), in.manipulator.jointDof(), 0, in.manipulator.jointDof()); }},
   {"extended mass matrix",
    [](Tools& t, OddScene&, const Input& in, Active& a)
    { return numbers(t.mass.extendedMassMatrixInBase(a, in.scene)); },
    [](const Dynamics& d, const Input&) { return numbers(d.massMatrix()); }},
   {"extended mass matrix in system",
    [](Tools& t, OddScene&, const Input& in, Active& a)
    { return numbers(t.mass.extendedMassMatrixInSystem(a, in.scene)); },
    [](const Dynamics& d, const Input& in)
    {
       const ZqU32 n = in.manipulator.jointDof();
       ZqReArray T = ZqReArray::identity(n + 6);
       const ZqOrientation q = d.base().dhFrame.orientation().inverse();
       const ZqVector axes[] = {q.xAxis(), q.yAxis(), q.zAxis()};
       for (std::size_t i = 0; i < 6; ++i)
          for (std::size_t j = 0; j < 3; ++j)
             T[n + i][n + i / 3 * 3 + j] = axes[j][i % 3];
       return numbers(T.transpose() * d.massMatrix() * T);
    }},
   {"coupling",
    [](Tools& t, OddScene&, const Input& in, Active& a)
    { return numbers(t.coupling.matrixD(a, in.scene)); },
    [](const Dynamics& d, const Input& in)
    { return block(d.massMatrix(), in.manipulator.jointDof(), in.manipulator.jointDof(), 6); }},
   {"weight",
    [](Tools& t, OddScene&, const Input& in, Active& a)
    {
       t.gravity.setGravityVector(upGravity);
       return numbers(t.gravity.gravitationalTorques(a, in.scene));
    },
    [](const Dynamics& d, const Input&) { return d.weight(upGravity); }},
   {"derivatives of the weight",
    [](Tools& t, OddScene&, const Input& in, Active& a)
    {
       t.gravity.setGravityVector(upGravity);
       Numbers result;
       for (ZqU32 i = 0; i < in.manipulator.jointDof(); ++i)
          result = numbers(result, t.gravity.gravitationalTorqueGradient(i, a, in.scene));
       return result;
    },
    [](const Dynamics& d, const Input& in)
    {
       Numbers result;
       for (ZqU32 i = 0; i < in.manipulator.jointDof(); ++i)
          result = numbers(result, d.weightGradient(i, upGravity));
       return result;
    }},
   {"solved by the mass matrix",
    [](Tools& t, OddScene& scene, const Input& in, Active& a)
    {
       ZqAccelerationState result;
       t.crbi.acceleration(scene.scene().system, in.manipulator, in.torque, in.external, result, a,
                           true);
       return numbers(result);
    },
    [](const Dynamics& d, const Input&)
    {
       const Numbers x = d.solve().accelerations;
       const std::size_t n = x.size() - 6;
       const ZqGeneralMotion ofBase({x[n], x[n + 1], x[n + 2]}, {x[n + 3], x[n + 4], x[n + 5]});
       return numbers(Numbers(x.begin(), x.end() - 6), d.base().dhFrame.orientation() * ofBase);
    }},
   {"solved by articulated bodies",
    [](Tools& t, OddScene& scene, const Input& in, Active& a)
    {
       // Articulated bodies that are there have other torques: those of the joints themselves.
       a.setAccelerationState(ZqAccelerationState(a.accelerationState()));
       ZqAccelerationState result;
       t.arbi.acceleration(scene.scene().system, in.manipulator, {}, {}, in.torque, in.external,
                           result, a);
       a.setAccelerationState(ZqAccelerationState(a.accelerationState()));
       return numbers(result);
    },
    &drivenAccelerations},
   // The next ones are asked without a scene, and take what is attached as it was found before.
   {"kinetic energy",
    [](Tools& t, OddScene&, const Input& in, Active& a)
    {
       in.manipulator.crbi(a, in.scene);
       return Numbers{in.manipulator.computeKineticEnergy(a, &t.mass)};
    },
    [](const Dynamics& d, const Input& in)
    {
       Input held(in); // whatever the state says of its base
       held.velocity.setGeneralVelocity({});
       const bool isFixed = in.manipulator.isFixedBase();
       return Numbers{isFixed ? Dynamics(held).kineticEnergy() : d.kineticEnergy()};
    }},
   {"center of mass",
    [](Tools&, OddScene&, const Input& in, Active& a)
    {
       in.manipulator.crbi(a, in.scene);
       return numbers(in.manipulator.getCenterOfMassInSystem(a));
    },
    [](const Dynamics& d, const Input&) { return numbers(d.centerOfMassInSystem()); }},
   {"zero-moment point",
    [](Tools&, OddScene&, const Input& in, Active& a)
    {
       ZqVector point;
       in.manipulator.crbi(a, in.scene);
       in.manipulator.computeZeroMomentPoint(somePlane, strongGravity, a, point, in.scene);
       return numbers(point);
    },
    [](const Dynamics& d, const Input&)
    { return numbers(d.zeroMomentPoint(somePlane, strongGravity)); }},
};

/// To 1e-12, and accelerations that were solved for to as much less as mass matrices of up to 40 links are
/// conditioned.
class Answers
{
public:
   void compare(const char* name, const Numbers& value, const Numbers& expected)
   {
      ASSERT_EQ(value.size(), expected.size()) << name;
      Comparison& compare = std::string_view(name).starts_with("solved") ? m_solved : m_computed;
      for (std::size_t i = 0; i < value.size(); ++i)
         compare(name, value[i], expected[i]);
   }
   void expectEqual() const
   {
      m_computed.expectWithin(1e-12L);
      m_solved.expectWithin(1e-10L);
   }

private:
   Comparison m_computed;
   Comparison m_solved;
};

std::set<std::string> distinct(const zqTest::LogCapture& log)
{
   std::set<std::string> texts;
   for (const auto& message : log.messages())
      texts.insert(message.text);
   return texts;
}

template <class T>
void shuffle(std::vector<T>& values, RandomValues& random)
{
   for (ZqU32 i = static_cast<ZqU32>(values.size()); i-- > 1;)
      std::swap(values[i], values[random.index(0, i)]);
}

TEST(Motion, QueriesInAnyOrderAreThoseOfTheRecursion)
{
   Tools tools;
   for (ZqU32 seed = 0; seed < 120; ++seed)
   {
      SCOPED_TRACE(seed);
      const zqTest::LogCapture atFirst;
      OddScene scene(seed);
      const Input input = scene.input();
      const auto links = zqTest::inPreorder(scene.manipulator());
      // A joint tells of its type when it does not have the transformation yet.
      const auto moveJoints = [&]
      {
         const zqTest::LogCapture ignored;
         for (const Link* link : links)
            link->linkKinematicsContainer().calculateTransform(17.0);
      };
      std::vector<std::pair<const LinkQuery*, std::size_t>> asked;
      for (std::size_t i = 0; i < links.size(); ++i)
         for (const LinkQuery& query : linkQueries)
            asked.emplace_back(&query, i);
      shuffle(asked, scene.random());
      std::vector<const ToolQuery*> askedOfTools;
      for (const ToolQuery& query : toolQueries)
         askedOfTools.push_back(&query);
      shuffle(askedOfTools, scene.random());

      moveJoints();
      std::vector<Numbers> answers;
      std::set<std::string> messages;
      {
         const zqTest::LogCapture log;
         Active active = input.activeState();
         for (const auto& [query, i] : asked)
            answers.push_back(ask(*query, *links[i], input, active));
         active = input.activeState();
         for (const ToolQuery* query : askedOfTools)
            answers.push_back(query->ask(tools.of(input.manipulator), scene, input, active));
         messages = distinct(log);
      }
      moveJoints();
      const zqTest::LogCapture log;
      const Dynamics reference(input);
      EXPECT_EQ(messages, distinct(log));
      Answers all;
      std::size_t next = 0;
      for (const auto& [query, i] : asked)
         all.compare(query->name, answers[next++],
                     query->expected(reference.bodies()[i], reference));
      for (const ToolQuery* query : askedOfTools)
         all.compare(query->name, answers[next++], query->expected(reference, input));
      all.expectEqual();
   }
}

/// An active state that lives through whatever happens to a scene, and after each step answers as one does
/// that is new.
class Walk
{
public:
   explicit Walk(ZqU32 seed) : m_scene(seed), m_input(m_scene.input()) { m_active = &m_states[0]; }

   void run(int steps)
   {
      setAll(dof());
      for (int i = 0; i < steps && !testing::Test::HasFailure(); ++i)
      {
         const ZqU32 kind = random().index(0, static_cast<ZqU32>(std::size(changes)) - 1);
         SCOPED_TRACE(testing::Message() << "step " << i << ": " << changes[kind].name);
         (this->*changes[kind].make)();
         compareWithNew(*m_active);
      }
   }

private:
   RandomValues& random() { return m_scene.random(); }
   ZqU32 dof() const { return m_input.manipulator.jointDof(); }

   /// \name Changes
   /// @{
   void changePosition()
   {
      // Of one joint alone, or of the base, or of all.
      ZqPositionState position(m_active->positionState());
      const ZqU32 joints = position.jointPositions().size();
      const ZqU32 kind = random().index(0, 2);
      if (kind == 0 && joints > 0)
         position.jointPositions()[random().index(0, joints - 1)] += 0.1;
      else if (kind == 1)
         position.setCoordSysXForm(zqTest::randomFrame(random()));
      else
         position = m_scene.scene().randomPosition(joints);
      EXPECT_TRUE(m_active->setPositionState(position));
   }
   void changeVelocity()
   {
      ZqVelocityState velocity(m_active->velocityState());
      const ZqU32 joints = velocity.jointVelocities().size();
      if (random().index(0, 1) == 0 && joints > 0)
         velocity.jointVelocities()[random().index(0, joints - 1)] += 0.1;
      else
         velocity = m_scene.scene().randomVelocity(joints);
      EXPECT_TRUE(m_active->setVelocityState(velocity));
   }
   /// A position may have got another place for a reference since.
   void setEqualStates()
   {
      m_active->setPositionState(ZqPositionState(m_active->positionState()));
      EXPECT_FALSE(m_active->setVelocityState(ZqVelocityState(m_active->velocityState())));
   }
   /// May be shorter than the position.
   void changeAcceleration()
   {
      const ZqU32 joints = m_active->positionState().jointPositions().size();
      m_active->setAccelerationState(
         m_scene.randomAcceleration(random().index(joints / 2, joints)));
   }
   /// Makes room for other forces and torques.
   void setEqualAcceleration()
   {
      if (random().index(0, 1) == 0)
      {
         m_input.external = m_scene.scene().randomExternalForce(random().index(0, dof()));
         m_input.torque = m_scene.scene().randomTorque(random().index(0, dof()));
      }
      m_active->setAccelerationState(ZqAccelerationState(m_active->accelerationState()));
   }
   void invalidate() { m_active->invalidateAll(); }
   void setAll(ZqU32 joints)
   {
      m_active->setPositionState(m_scene.scene().randomPosition(joints));
      m_active->setVelocityState(m_scene.scene().randomVelocity(joints));
      m_active->setAccelerationState(m_scene.randomAcceleration(joints));
   }
   void changeSize()
   {
      const ZqU32 sizes[] = {0, dof() / 2, dof(), dof() + 2};
      setAll(sizes[random().index(0, 3)]);
   }
   void changeModel()
   {
      m_scene.changeModel();
      m_active->invalidateAll();
      if (m_active->positionState().jointPositions().size() != dof())
         setAll(dof());
   }
   /// An assignment, or a document, leaves momenta of the target as they are.
   void goOnWithACopy()
   {
      Active copy(*m_active);
      compareWithNew(copy);
      Active& other = m_active == &m_states[0] ? m_states[1] : m_states[0];
      other.invalidateAll();
      if (random().index(0, 1) == 0)
         other = *m_active;
      else
         EXPECT_TRUE(Zq::fromXml(other, zqTest::written(*m_active)));
      m_active = &other;
   }
   void moveOn()
   {
      Active moved(std::move(*m_active));
      *m_active = Active();
      m_active->invalidateAll();
      *m_active = std::move(moved);
   }
   void touchRecords()
   {
      Active& a = *m_active;
      switch (random().index(0, 4))
      {
      case 0:
         a.activeVelocityState().linkVelocityStates();
         a.activeVelocityState().baseVelocityState();
         break;
      case 1:
         a.activeAccelerationState();
         break;
      case 2:
         a.activeForceState();
         break;
      case 3:
         a.activePositionState().invalidateAll();
         break;
      default:
         a.setActivePositionState(ZqManipulatorActivePositionState(a.activePositionState()));
         a.setActiveMassState(ZqManipulatorActiveMassState(a.activeMassState()));
         a.setActiveForceState(ZqManipulatorActiveForceState(a.activeForceState()));
      }
   }
   /// Tools that leave other velocities or accelerations in the state, and forces without attachments.
   void useToolsThatChangeTheState()
   {
      Tools& tools = m_tools;
      tools.total.setManipulator(&m_input.manipulator);
      tools.mass.setManipulator(&m_input.manipulator);
      if (random().index(0, 1) == 0)
         tools.total.torquesNoBaseForce(m_input.external, *m_active, m_input.scene);
      else
         tools.mass.nullSpaceTorque(*m_active, random().array(dof(), 2));
      m_active->setAccelerationState(ZqAccelerationState(m_active->accelerationState()));
   }
   struct Change
   {
      const char* name;
      void (Walk::*make)();
   };
   static constexpr Change changes[] = {
      {"position", &Walk::changePosition},
      {"velocity", &Walk::changeVelocity},
      {"equal states", &Walk::setEqualStates},
      {"acceleration", &Walk::changeAcceleration},
      {"equal acceleration", &Walk::setEqualAcceleration},
      {"invalidateAll", &Walk::invalidate},
      {"size", &Walk::changeSize},
      {"model", &Walk::changeModel},
      {"copy", &Walk::goOnWithACopy},
      {"move", &Walk::moveOn},
      {"records", &Walk::touchRecords},
      {"tools", &Walk::useToolsThatChangeTheState},
   };
   /// @}

   /// A few queries, and all that the records say is valid.
   void compareWithNew(Active& active)
   {
      Active fresh;
      fresh.setPositionState(active.positionState());
      fresh.setVelocityState(active.velocityState());
      fresh.setAccelerationState(active.accelerationState());
      fresh.setActuatorState(active.actuatorState());
      Tools newTools;
      Answers answers;
      m_links = zqTest::inPreorder(m_input.manipulator);
      for (int i = 0; i < 4; ++i)
      {
         const Link& link = *m_links[random().index(0, static_cast<ZqU32>(m_links.size()) - 1)];
         const auto& query =
            linkQueries[random().index(0, static_cast<ZqU32>(std::size(linkQueries)) - 1)];
         answers.compare(query.name, ask(query, link, m_input, active),
                         ask(query, link, m_input, fresh));
      }
      compareRecords(answers, active, fresh);
      const auto& query =
         toolQueries[random().index(0, static_cast<ZqU32>(std::size(toolQueries)) - 1)];
      // It takes no scene: which masses it finds depends on who asked before.
      if (std::string_view(query.name) == "kinetic energy" && Link::hasAttachments(m_input.scene))
         return answers.expectEqual();
      fresh.setActuatorState(active.actuatorState());
      const Numbers answer = query.ask(m_tools.of(m_input.manipulator), m_scene, m_input, active);
      answers.compare(query.name, answer,
                      query.ask(newTools.of(m_input.manipulator), m_scene, m_input, fresh));
      answers.expectEqual();
   }
   void compareRecords(Answers& answers, const Active& active, Active& fresh)
   {
      using Velocity = ZqLinkVelocityState;
      using Acceleration = ZqLinkAccelerationState;
      using Articulation = ZqLinkArticulationState;
      for (const Link* link : m_links)
      {
         const auto compare = [&](const auto& records, auto isValid, auto value, const char* name)
         {
            const ZqU32 i = link->linkIndex();
            if (i != ZqBaseLinkIndex && i >= records.size())
               return;
            if ((records.record(i).*isValid)())
               answers.compare(name, numbers((records.record(i).*value)()),
                               ask(queryNamed(name), *link, m_input, fresh));
         };
         const auto& positions = active.activePositionState();
         const auto isPlaced = &ZqLinkPositionState::locationInSystemValid;
         compare(positions, isPlaced, &ZqLinkPositionState::dhFrame, "DH frame");
         compare(positions, isPlaced, &ZqLinkPositionState::primaryFrame, "primary frame");
         const auto& velocities = active.activeVelocityState();
         compare(velocities, &Velocity::localDhValid, &Velocity::dhFrameVelocityInLocal,
                 "velocity");
         compare(velocities, &Velocity::systemDhValid, &Velocity::dhFrameVelocityInSystem,
                 "velocity in system");
         compare(velocities, &Velocity::systemPrimaryValid, &Velocity::primaryFrameVelocityInSystem,
                 "velocity of the primary frame");
         compare(velocities, &Velocity::localComValid, &Velocity::comVelocityInLocal,
                 "velocity of the center");
         compare(velocities, &Velocity::localMomentumValid, &Velocity::momentumInLocal, "momentum");
         compare(velocities, &Velocity::compositeMomentumValid, &Velocity::compositeMomentumInLocal,
                 "composite momentum");
         const auto& accelerations = active.activeAccelerationState();
         compare(accelerations, &Acceleration::localDhValid,
                 &Acceleration::dhFrameAccelerationInLocal, "acceleration");
         compare(accelerations, &Acceleration::localComValid, &Acceleration::comAccelerationInLocal,
                 "acceleration of the center");
         compare(accelerations, &Acceleration::localMomentumRateValid,
                 &Acceleration::momentumRateInLocal, "rate of momentum");
         compare(accelerations, &Acceleration::compositeMomentumRateValid,
                 &Acceleration::compositeMomentumRateInLocal, "rate of composite momentum");
         compare(active.activeForceState(), &ZqLinkForceState::localDhValid,
                 &ZqLinkForceState::dhFrameForceInLocal, "force");
         compare(active.activeMassState(), &ZqLinkMassState::crbiValid, &ZqLinkMassState::crbi,
                 "composite body");
         const auto& articulations = active.activeArticulationState();
         compare(articulations, &Articulation::arbdValid, &Articulation::arbd, "articulated body");
         compare(articulations, &Articulation::supplementalDhAccelerationValid,
                 &Articulation::supplementalDhAcceleration, "solved acceleration");
         compare(articulations, &Articulation::supplementalJointAccelerationValid,
                 &Articulation::supplementalJointAcceleration, "solved joint acceleration");
      }
   }

   OddScene m_scene;
   Input m_input;
   Tools m_tools;
   Active m_states[2];
   Active* m_active;
   std::vector<const Link*> m_links;
};

TEST(Motion, NothingThatAnActiveStateKeepsIsStale)
{
   for (ZqU32 seed = 0; seed < 60; ++seed)
   {
      SCOPED_TRACE(seed);
      const zqTest::LogCapture log;
      Walk(seed).run(60);
   }
}

TEST(Motion, WhatAUserStoresIsTakenAsItStands)
{
   zqTest::RandomScene scene(1, zqTest::SceneKind{zqTest::chain(3)});
   const Link& link = scene.link(1);
   Active active = scene.activeState();
   const ZqGeneralMotion motion = zqTest::randomMotion(scene.random);
   const ZqGeneralForce force = zqTest::randomForce(scene.random);
   const ZqRigidBodyMassProperties body = zqTest::randomMass(scene.random);
   const Frame frame = zqTest::randomFrame(scene.random);
   active.activePositionState().setLinkPositionState(1, frame, frame * frame);
   active.activeVelocityState().setLinkDhVelocityInLocal(1, motion);
   active.activeAccelerationState().setLinkDhAccelerationInLocal(1, motion * 2.0);
   active.activeForceState().setLinkDhForceInLocal(1, force);
   active.activeMassState().setCrbi(1, body);
   active.activeArticulationState().setArbd(1, {body, force});
   EXPECT_EQ(link.dhFrameInSystem(active.activePositionState()), frame);
   EXPECT_EQ(link.primaryFrameInSystem(active.activePositionState()), frame * frame);
   EXPECT_EQ(link.dhFrameVelocityInLocal(active), motion);
   EXPECT_EQ(link.dhFrameAccelerationInLocal(active), motion * 2.0);
   EXPECT_EQ(link.dhFrameForceInLocal(scene.external, active, nullptr), force);
   EXPECT_EQ(link.crbi(active, nullptr), body);
   EXPECT_EQ(link.arbd(scene.external, scene.torque, active, nullptr).bias(), force);
   // Until the state changes.
   active.setPositionState({});
   scene.prepare(active);
   EXPECT_NE(link.dhFrameForceInLocal(scene.external, active, nullptr), force);
   EXPECT_NE(link.crbi(active, nullptr), body);
}
} // namespace
