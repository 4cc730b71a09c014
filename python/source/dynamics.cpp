#include "python/source/arrays.h"
#include "python/source/failures.h"
#include "python/source/scene.h"
#include "zqManipulator/dynamics/tools/ZqArbiAccelerationTool.h"
#include "zqManipulator/dynamics/tools/ZqCrbiAccelerationTool.h"
#include "zqManipulator/dynamics/tools/ZqGravitationalTorqueTool.h"
#include "zqManipulator/dynamics/tools/ZqMotionDerivativeTool.h"
#include "zqManipulator/dynamics/tools/ZqOwnActuators.h"
#include "zqManipulator/kinematics/system/ZqStatedSystemStruct.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

namespace
{
using namespace zqPython;
using Optional = std::optional<Array>;

/// A square matrix over the degrees of freedom, and what turns those of a free base, its first six, from the
/// axes of the base's frame into those of the system: its rows, and its columns likewise.
void turnRows(ZqReArray& matrix, const ZqOrientation& R)
{
   for (std::size_t j = 0; j < matrix.columns(); ++j)
      for (const std::size_t i : {std::size_t(0), std::size_t(3)})
      {
         const ZqVector v = R * ZqVector(matrix[i][j], matrix[i + 1][j], matrix[i + 2][j]);
         for (std::size_t k = 0; k < 3; ++k)
            matrix[i + k][j] = v[k];
      }
}
void turnColumns(ZqReArray& matrix, const ZqOrientation& R)
{
   for (std::size_t i = 0; i < matrix.rows(); ++i)
      for (const std::size_t j : {std::size_t(0), std::size_t(3)})
      {
         const ZqVector v = R * ZqVector(matrix[i][j], matrix[i][j + 1], matrix[i][j + 2]);
         for (std::size_t k = 0; k < 3; ++k)
            matrix[i][j + k] = v[k];
      }
}

/// What a vector u times the columns 3 to 5 of a matrix changes by when it is u x instead: adds a [u x], with a
/// the columns from `from` on.
void addCross(const ZqReArray& a, std::size_t from, const ZqVector& u, ZqReArray& matrix)
{
   for (std::size_t i = 0; i < matrix.rows(); ++i)
   {
      const ZqVector product = ZqVector(a[i][from], a[i][from + 1], a[i][from + 2]).cross(u);
      for (std::size_t k = 0; k < 3; ++k)
         matrix[i][3 + k] += product[k];
   }
}

Array matrixOf(const ZqReArray& matrix)
{
   const std::size_t count = std::size_t(matrix.rows()) * matrix.columns();
   return copyOf({matrix.data(), count}, {matrix.rows(), matrix.columns()});
}

/// Drives that give the torque that they are told, with their inertia: losses, stoppers and shafts are gone.
void makeDrivesIdeal(ZqIndividualManipulator& manipulator)
{
   for (ZqU32 i = 0; i < manipulator.jointDof(); ++i)
   {
      ZqManipulatorLink& link = *manipulator.linkByIndex(i);
      ZqMechanicalActuatorComponent ideal;
      ideal.setInertia(link.jointActuator().effectiveInertia(0.0));
      ZqJointActuator drive;
      drive.setMechanicalComponent(ideal);
      link.setJointActuator(drive);
   }
}

/// The equations of motion of one manipulator. The order of degrees of freedom is that of the derivatives of
/// the library; a free base's, which stand in its own frame there, stand in the axes of the system here.
class Dynamics
{
public:
   enum class Solver
   {
      Crbi,
      Arbi
   };
   struct State
   {
      Array q;
      Optional v;
      Optional base;
   };

   explicit Dynamics(const Manipulator& of) : m_index(of.index()), m_scene(of.scene->stated())
   {
      m_scene.editManipulator(m_index, makeDrivesIdeal);
      m_position = m_scene.state().positionStates()[m_index];
      m_crbi.setUsesConstraintKinematics(true);
      m_inverse.setManipulator(&model());
      m_inverse.setTotalTorqueType(ZqTotalTorqueTool::BodyTorque);
      m_derivatives.setManipulator(&model());
      m_gravityTool.setManipulator(&model());
      m_upGravity = m_scene.environment().upGravityVector();
   }

   const ZqIndividualManipulator& model() const { return *m_scene.manipulatorByIndex(m_index); }
   bool isFree() const { return !model().isFixedBase(); }
   ZqU32 dof() const { return model().jointDof(); }
   ZqU32 size() const { return dof() + (isFree() ? 6 : 0); }
   Array gravityVector() const { return zqPython::arrayOf(-m_upGravity); }
   void setGravityVector(const Array& gravity) { m_upGravity = -vectorOf(gravity, "gravity"); }

   Array forward(const State& state, const Optional& tau, const py::dict& forces, Solver solver);
   Array inverse(const State& state, const Optional& a, const py::dict& forces);
   Array gravity(const State& state);
   Array massMatrix(const State& state);
   py::tuple inverseDerivatives(const State& state, const Optional& a, const py::dict& forces);
   py::tuple forwardDerivatives(const State& state, const Optional& tau, const py::dict& forces);

private:
   ZqStatedSystemStruct context() const { return {&m_scene, m_index}; }
   void take(const State& state, const Optional& a = {});
   void takeForces(const py::dict& forces);
   void takeTorques(const Optional& tau);
   void solve(Solver solver);
   std::span<const ZqReal> numbersOf(const Optional& array, const char* name) const;
   Array result(const ZqXmlVectorBasicType<ZqReal>& joints, ZqVector linear,
                ZqVector angular) const;
   ZqOrientation baseOrientation()
   {
      return model().dhFrameInSystem(m_active.activePositionState()).orientation();
   }
   py::tuple inSystem(ZqReArray byPosition, ZqReArray byVelocity, ZqReArray last);

   ZqU32 m_index;
   ZqStatedSystem m_scene; ///< shares no model: nobody else changes it
   ZqVector m_upGravity;
   ZqPositionState m_position;
   ZqVelocityState m_velocity;
   ZqAccelerationState m_acceleration;
   ZqManipulatorTorque m_torque;
   ZqManipulatorExternalForce m_force;
   ZqManipulatorActiveState m_active;
   bool m_areDrivesNew = true;
   ZqCrbiAccelerationTool m_crbi;
   ZqArbiAccelerationTool m_arbi;
   ZqTotalTorqueTool m_inverse;
   ZqGravitationalTorqueTool m_gravityTool;
   ZqMotionDerivativeTool m_derivatives;
};

/// Those of all degrees of freedom; zeros for what is left out.
std::span<const ZqReal> Dynamics::numbersOf(const Optional& array, const char* name) const
{
   static const std::vector<ZqReal> none;
   return array ? listOf(*array, name, size()) : std::span<const ZqReal>(none);
}

void assign(std::span<const ZqReal> numbers, ZqU32 dof, ZqXmlVectorBasicType<ZqReal>& joints)
{
   joints.assign(dof, 0.0);
   if (!numbers.empty())
      std::copy(numbers.end() - dof, numbers.end(), joints.begin());
}

template <class Spatial>
Spatial spatial(std::span<const ZqReal> numbers, bool isFree)
{
   if (!isFree || numbers.empty())
      return {};
   return {ZqVector(numbers[0], numbers[1], numbers[2]),
           ZqVector(numbers[3], numbers[4], numbers[5])};
}

void Dynamics::take(const State& state, const Optional& a)
{
   // All is read before anything is changed.
   const auto q = listOf(state.q, "q", dof());
   const auto v = numbersOf(state.v, "v");
   const auto given = numbersOf(a, "a");
   ZqCoordinateSystemTransformation base =
      m_scene.state().positionStates()[m_index].coordSysXForm();
   if (state.base)
      base = model().coordSysXForm().inverse() * frameOf(*state.base, "base");

   assign(q, dof(), m_position.jointPositions());
   m_position.setCoordSysXForm(base);
   assign(v, dof(), m_velocity.jointVelocities());
   m_velocity.setGeneralVelocity(spatial<ZqGeneralMotion>(v, isFree()));
   assign(given, dof(), m_acceleration.jointAccelerations());
   ZqGeneralMotion ofBase = spatial<ZqGeneralMotion>(given, isFree());
   ofBase.setLinear(ofBase.linear() + m_upGravity);
   m_acceleration.setGeneralAcceleration(ofBase);

   m_active.setPositionState(m_position);
   m_active.setVelocityState(m_velocity);
   m_active.setAccelerationState(m_acceleration);
   zqMoveOwnActuators(model(), m_active, std::exchange(m_areDrivesNew, false));
   m_active.invalidateAll();
   model().placeBase(m_active.activePositionState());
}

/// By link: its label, its index, or the link itself.
void Dynamics::takeForces(const py::dict& forces)
{
   m_force.resize(dof());
   m_force.setToZeros();
   for (const auto& [key, value] : forces)
   {
      ZqU32 link = 0;
      if (py::isinstance<Link>(key))
         link = key.cast<const Link&>().index();
      else if (py::isinstance<py::int_>(key))
         link = key.cast<ZqU32>();
      else if (const ZqManipulatorLink* found = model().linkByIdentifier(key.cast<ZqString>()))
         link = found->linkIndex();
      else
         throw py::key_error("forces: there is no link '" + key.cast<ZqString>() + "'");
      if (link >= dof() && link != ZqBaseLinkIndex)
         throw py::index_error("forces: there is no link " + std::to_string(link));
      m_force[link] = forceOf(value.cast<Array>(), "forces");
   }
}

void Dynamics::takeTorques(const Optional& tau)
{
   const auto numbers = numbersOf(tau, "tau");
   assign(numbers, dof(), m_torque.jointTorques());
   auto ofBase = spatial<ZqGeneralForce>(numbers, isFree());
   ofBase.transformBy(baseOrientation().inverse());
   m_torque.setGeneralForce(ofBase);
}

Array Dynamics::result(const ZqXmlVectorBasicType<ZqReal>& joints, ZqVector linear,
                       ZqVector angular) const
{
   std::vector<ZqReal> numbers;
   if (isFree())
      for (const ZqVector& v : {linear, angular})
         numbers.insert(numbers.end(), {v.x(), v.y(), v.z()});
   numbers.insert(numbers.end(), joints.begin(), joints.end());
   return copyOf(numbers, {static_cast<py::ssize_t>(numbers.size())});
}

void Dynamics::solve(Solver solver)
{
   if (solver == Solver::Crbi)
      m_crbi.acceleration(m_scene, model(), m_torque, m_force, m_acceleration, m_active, true);
   else
      m_arbi.acceleration(m_scene, model(), m_position, m_velocity, m_torque, m_force,
                          m_acceleration, m_active);
}

Array Dynamics::forward(const State& state, const Optional& tau, const py::dict& forces,
                        Solver solver)
{
   take(state);
   takeForces(forces);
   takeTorques(tau);
   solve(solver);
   const ZqGeneralMotion& ofBase = m_acceleration.generalAcceleration();
   return result(m_acceleration.jointAccelerations(), ofBase.linear(), ofBase.angular());
}

Array Dynamics::inverse(const State& state, const Optional& a, const py::dict& forces)
{
   take(state, a);
   takeForces(forces);
   const ZqStatedSystemStruct scene = context();
   const ZqManipulatorTorque& torques = m_inverse.torques(m_force, m_active, &scene);
   ZqGeneralForce ofBase = torques.generalForce();
   ofBase.transformBy(baseOrientation());
   return result(torques.jointTorques(), ofBase.force(), ofBase.moment());
}

Array Dynamics::gravity(const State& state)
{
   // At rest, and springs do not act on the base.
   Array all = inverse({state.q, {}, state.base}, {}, {});
   const ZqStatedSystemStruct scene = context();
   m_gravityTool.setGravityVector(m_upGravity);
   const ZqReArray& torques = m_gravityTool.gravitationalTorques(m_active, &scene);
   std::copy_n(torques.data(), dof(), zqPython::numbersOf(all).end() - dof());
   return all;
}

Array Dynamics::massMatrix(const State& state)
{
   take(state);
   const ZqStatedSystemStruct scene = context();
   ZqReArray M = m_derivatives.torqueByAcceleration(m_active, &scene);
   if (isFree())
   {
      const ZqOrientation R = baseOrientation();
      turnRows(M, R);
      turnColumns(M, R);
   }
   return matrixOf(M);
}

/// With everything along the axes of the system, but for what it means that these, and not those of the base,
/// hold while the base turns.
py::tuple Dynamics::inSystem(ZqReArray byPosition, ZqReArray byVelocity, ZqReArray last)
{
   if (isFree())
      for (ZqReArray* matrix : {&byPosition, &byVelocity, &last})
      {
         turnRows(*matrix, baseOrientation());
         turnColumns(*matrix, baseOrientation());
      }
   return py::make_tuple(matrixOf(byPosition), matrixOf(byVelocity), matrixOf(last));
}

py::tuple Dynamics::inverseDerivatives(const State& state, const Optional& a,
                                       const py::dict& forces)
{
   take(state, a);
   takeForces(forces);
   const ZqStatedSystemStruct scene = context();
   m_derivatives.computeInverseDynamicsGradients(m_force, m_active, &scene);
   ZqReArray byPosition = m_derivatives.torqueByPosition();
   if (isFree())
   {
      // A force of the base's frame that turns with it; in the axes of the frame, too.
      ZqReArray turning = ZqReArray::identity(size());
      turning *= -1.0;
      const ZqGeneralForce& held = m_derivatives.torques().generalForce();
      addCross(turning, 0, held.force(), byPosition);
      addCross(turning, 3, held.moment(), byPosition);
   }
   return inSystem(byPosition, m_derivatives.torqueByVelocity(),
                   m_derivatives.torqueByAcceleration(m_active, &scene));
}

py::tuple Dynamics::forwardDerivatives(const State& state, const Optional& tau,
                                       const py::dict& forces)
{
   take(state);
   takeForces(forces);
   takeTorques(tau);
   solve(Solver::Arbi);
   ZqGeneralMotion& ofBase = m_acceleration.generalAcceleration();
   ofBase.setLinear(ofBase.linear() + m_upGravity);
   m_active.setAccelerationState(m_acceleration);
   m_active.invalidateAll();
   model().placeBase(m_active.activePositionState());
   const ZqStatedSystemStruct scene = context();
   m_derivatives.computeForwardDynamicsGradients(m_force, m_active, &scene);
   ZqReArray byPosition = m_derivatives.accelerationByPosition();
   const ZqReArray& byTorque = m_derivatives.accelerationByTorque();
   if (isFree())
   {
      // A force on the base stays along the axes of the system while the base turns.
      addCross(byTorque, 0, m_torque.generalForce().force(), byPosition);
      addCross(byTorque, 3, m_torque.generalForce().moment(), byPosition);
   }
   return inSystem(byPosition, m_derivatives.accelerationByVelocity(), byTorque);
}

py::object namedTuple(const char* name, const char* fields)
{
   return py::module_::import("collections")
      .attr("namedtuple")(name, fields, py::arg("module") = "zqmanipulator");
}
} // namespace

void zqPython::bindDynamics(py::module_& module)
{
   using Solver = Dynamics::Solver;
   const py::object inverseDerivatives = namedTuple("InverseDerivatives", "by_q by_v by_a");
   const py::object forwardDerivatives = namedTuple("ForwardDerivatives", "by_q by_v by_tau");
   module.attr("InverseDerivatives") = inverseDerivatives;
   module.attr("ForwardDerivatives") = forwardDerivatives;

   const auto solverOf = [](const std::string& name)
   {
      if (name != "crbi" && name != "arbi")
         throw py::value_error("solver: expected 'crbi' or 'arbi', but received '" + name + "'");
      return name == "crbi" ? Solver::Crbi : Solver::Arbi;
   };

   py::class_<Dynamics>(
      module, "Dynamics",
      "The equations of motion of a manipulator: M(q) a + b(q, v) = tau + what acts from "
      "outside.\n\n"
      "Arrays v, a and tau have `size` numbers, one for each degree of freedom. Those of joints "
      "stand in the "
      "order of their links (rad or m, and N m or N). A free base comes first with six, linear "
      "before angular, "
      "along the axes of the system: the velocity of the origin of its frame, and the force there. "
      "q has the "
      "`dof` joints alone; `base` is the frame of the base in the system (4 x 4, or x y z w x y "
      "z), if it is "
      "another one than in the scene.\n\n"
      "Torques act at the joints. The inertia of drives, springs and dampers counts, and so does "
      "the mass of "
      "what is attached, where the scene has it; losses of drives do not: `Simulation` has these. "
      "`forces` "
      "are external ones by link (label, index or `Link`): six numbers each, in the D-H frame of "
      "the link.\n\n"
      "It keeps the model as it is now: later edits of the scene do not matter to it.")
      .def(py::init<const Manipulator&>(), py::arg("manipulator"))
      .def_property_readonly("dof", &Dynamics::dof, "Number of joints.")
      .def_property_readonly("size", &Dynamics::size, "Number of degrees of freedom.")
      .def_property_readonly("is_free", &Dynamics::isFree, "Whether the base moves.")
      .def_property("gravity", &Dynamics::gravityVector, &Dynamics::setGravityVector,
                    "In the system (m/s^2), as of a scene: (0, 0, -9.8) pulls down. That of the "
                    "scene at first.")
      .def(
         "forward",
         [solverOf](Dynamics& self, const Array& q, const Optional& v, const Optional& tau,
                    const Optional& base, const py::dict& forces, const std::string& solver)
         {
            const Solver kind = solverOf(solver);
            return told([&] { return self.forward({q, v, base}, tau, forces, kind); });
         },
         py::arg("q"), py::arg("v") = py::none(), py::arg("tau") = py::none(), py::kw_only(),
         py::arg("base") = py::none(), py::arg("forces") = py::dict(), py::arg("solver") = "crbi",
         "The accelerations (`size`) under torques: by composite bodies ('crbi'), which heed the "
         "constraints of "
         "the model, or by articulated bodies ('arbi'), which do not.")
      .def(
         "inverse",
         [](Dynamics& self, const Array& q, const Optional& v, const Optional& a,
            const Optional& base, const py::dict& forces) {
            return told([&] { return self.inverse({q, v, base}, a, forces); });
         },
         py::arg("q"), py::arg("v") = py::none(), py::arg("a") = py::none(), py::kw_only(),
         py::arg("base") = py::none(), py::arg("forces") = py::dict(),
         "The torques (`size`) under which everything accelerates so. Constraints play no part.")
      .def(
         "bias",
         [](Dynamics& self, const Array& q, const Optional& v, const Optional& base,
            const py::dict& forces) {
            return told([&] { return self.inverse({q, v, base}, {}, forces); });
         },
         py::arg("q"), py::arg("v") = py::none(), py::kw_only(), py::arg("base") = py::none(),
         py::arg("forces") = py::dict(),
         "The torques (`size`) under which nothing accelerates: gravity, centrifugal and Coriolis "
         "forces, springs "
         "and dampers.")
      .def(
         "gravity_torques",
         [](Dynamics& self, const Array& q, const Optional& base) {
            return told([&] { return self.gravity({q, {}, base}); });
         },
         py::arg("q"), py::kw_only(), py::arg("base") = py::none(),
         "The torques (`size`) that hold the bodies at rest against gravity alone.")
      .def(
         "mass_matrix",
         [](Dynamics& self, const Array& q, const Optional& base) {
            return told([&] { return self.massMatrix({q, {}, base}); });
         },
         py::arg("q"), py::kw_only(), py::arg("base") = py::none(),
         "What makes torques of accelerations: M (`size` x `size`), with the inertia of drives.")
      .def(
         "inverse_derivatives",
         [inverseDerivatives](Dynamics& self, const Array& q, const Optional& v, const Optional& a,
                              const Optional& base, const py::dict& forces)
         {
            return inverseDerivatives(*told(
               [&] {
                  return self.inverseDerivatives({q, v, base}, a, forces);
               }));
         },
         py::arg("q"), py::arg("v") = py::none(), py::arg("a") = py::none(), py::kw_only(),
         py::arg("base") = py::none(), py::arg("forces") = py::dict(),
         "How the answer of `inverse` (rows) changes with q, v and a: three matrices, `size` x "
         "`size` each. The "
         "position of a free base is moved and turned along the axes of the system.")
      .def(
         "forward_derivatives",
         [forwardDerivatives](Dynamics& self, const Array& q, const Optional& v,
                              const Optional& tau, const Optional& base, const py::dict& forces)
         {
            return forwardDerivatives(*told(
               [&] {
                  return self.forwardDerivatives({q, v, base}, tau, forces);
               }));
         },
         py::arg("q"), py::arg("v") = py::none(), py::arg("tau") = py::none(), py::kw_only(),
         py::arg("base") = py::none(), py::arg("forces") = py::dict(),
         "How the accelerations (rows) change with q, v and tau, likewise. Constraints play no "
         "part.")
      .def("__repr__",
           [](const Dynamics& self)
           {
              return "<Dynamics of '" + self.model().manipulatorLabel() + "' in " +
                     std::to_string(self.size()) + " degrees of freedom>";
           });
}
