#include "zqManipulator/dynamics/tools/ZqMotionBatch.h"

#include "python/source/arrays.h"
#include "python/source/failures.h"
#include "python/source/scene.h"

#include <array>
#include <mutex>
#include <optional>
#include <utility>

namespace
{
using namespace zqPython;
using Input = ZqMotionBatch::Input;
using Output = ZqMotionBatch::Output;
using Optional = std::optional<Array>;
using Sizes = std::vector<py::ssize_t>;

constexpr std::array instructionSets{std::pair{"baseline", ZqMotionBatch::InstructionSet::Baseline},
                                     std::pair{"avx2", ZqMotionBatch::InstructionSet::Avx2},
                                     std::pair{"avx512", ZqMotionBatch::InstructionSet::Avx512}};

std::string textOf(const py::handle& shape)
{
   return py::str(shape).cast<std::string>();
}

/// An array that is written where it is: a `TypeError` for what is no array of double precision, a `ValueError`
/// for one that cannot be written, does not lie in rows or is of another shape.
Array inPlace(const py::object& object, const std::string& name, const Sizes& shape)
{
   if (!py::isinstance<py::array_t<ZqReal>>(object))
      throw py::type_error(name + ": expected an array of float64 to write into, but received " +
                           py::str(py::type::of(object)).cast<std::string>());
   const auto array = py::reinterpret_borrow<Array>(object);
   if (!array.writeable())
      throw py::value_error(name + ": the array is read-only");
   constexpr int inRows = int(py::array::c_style) | int(py::detail::npy_api::NPY_ARRAY_ALIGNED_);
   if ((array.flags() & inRows) != inRows)
      throw py::value_error(name + ": the array does not lie in rows (C-contiguous)");
   const py::tuple expected = py::cast(shape);
   if (!py::object(array.attr("shape")).equal(expected))
      throw py::value_error(name + ": expected the shape " + textOf(expected) + ", but received " +
                            textOf(array.attr("shape")));
   return array;
}

/// The arrays of a call, which stay as long as it takes. What is written must not be a part of anything else.
class Arguments
{
public:
   explicit Arguments(py::ssize_t states) : m_states(states) {}

   /// Numbers by state; none for an array that is left out.
   std::span<const ZqReal> read(const Optional& array, const char* name, py::ssize_t width)
   {
      if (!array)
         return {};
      require(*array, name, {m_states, width});
      m_read.emplace_back(name, *array);
      return zqPython::numbersOf(*array);
   }
   std::span<ZqReal> write(const py::object& object, const std::string& name, const Sizes& shape)
   {
      m_written.emplace_back(name, object.is_none() ? Array(shape) : inPlace(object, name, shape));
      return zqPython::numbersOf(m_written.back().second);
   }
   void requireApart() const
   {
      for (auto one = m_written.begin(); one != m_written.end(); ++one)
      {
         for (const auto& [name, array] : m_read)
            requireApart(*one, name, array);
         for (auto other = m_written.begin(); other != one; ++other)
            requireApart(*one, other->first, other->second);
      }
   }
   /// What was written: one array, or a pair.
   py::object result() const
   {
      if (m_written.size() == 1)
         return m_written[0].second;
      return py::make_tuple(m_written[0].second, m_written[1].second);
   }

private:
   using Named = std::pair<std::string, Array>;

   static void requireApart(const Named& written, const std::string& name, const Array& array)
   {
      const auto* const first = written.second.data();
      const auto* const other = array.data();
      if (first < other + array.size() && other < first + written.second.size())
         throw py::value_error(written.first + ": it shares memory with " + name);
   }

   py::ssize_t m_states;
   std::vector<Named> m_read;
   std::vector<Named> m_written;
};

/// A batch with the model as it was when it was made. One call at a time: others wait.
class Batch
{
public:
   explicit Batch(const Manipulator& of)
      : m_scene(of.scene->stated()), m_index(of.index()),
        m_batch(model(), m_scene.environment().upGravityVector())
   {
   }

   const ZqIndividualManipulator& model() const { return *m_scene.manipulatorByIndex(m_index); }
   bool isFree() const { return !model().isFixedBase(); }
   py::ssize_t dof() const { return model().jointDof(); }
   py::ssize_t size() const { return dof() + (isFree() ? 6 : 0); }

   py::ssize_t statesOf(const Array& q) const
   {
      require(q, "q", {anyLength, dof()});
      return q.shape(0);
   }
   Input input(Arguments& arguments, const Optional& joints, const char* name, const Optional& base,
               const char* nameOfBase, py::ssize_t widthOfBase) const
   {
      if (base && !isFree() && widthOfBase == 6)
         throw py::value_error(std::string(nameOfBase) + ": the base is fixed");
      return {arguments.read(joints, name, dof()), arguments.read(base, nameOfBase, widthOfBase)};
   }
   Input positions(Arguments& arguments, const Array& q, const Optional& base) const
   {
      if (isFree() && !base)
         throw py::type_error("base: expected where the free base is (n x 7: x y z, w x y z)");
      return input(arguments, q, "q", base, "base", 7);
   }
   /// Joints, and of a free base a second array.
   Output output(Arguments& arguments, const py::object& out, py::ssize_t states) const
   {
      py::object joints = out;
      py::object base = py::none();
      if (isFree() && !out.is_none())
      {
         const auto pair = py::cast<py::sequence>(out);
         if (pair.size() != 2)
            throw py::value_error("out: expected a pair of arrays, of the joints and of the base");
         joints = pair[0];
         base = pair[1];
      }
      const std::span<ZqReal> ofJoints = arguments.write(joints, "out", {states, dof()});
      if (!isFree())
         return {ofJoints};
      return {ofJoints, arguments.write(base, "out of the base", {states, 6})};
   }
   /// With the interpreter's lock released; whoever else calls waits.
   template <class Operation>
   void run(const Arguments& arguments, Operation operation)
   {
      arguments.requireApart();
      change("compute a batch", operation);
   }
   template <class Operation>
   void change(const char* doing, Operation operation)
   {
      perform(doing,
              [&]
              {
                 const std::lock_guard lock(m_mutex);
                 return operation(m_batch);
              });
   }
   template <class Question>
   auto ask(Question question)
   {
      const py::gil_scoped_release release;
      const std::lock_guard lock(m_mutex);
      return question(std::as_const(m_batch));
   }

private:
   ZqStatedSystem m_scene; ///< shares the model
   ZqU32 m_index;
   ZqMotionBatch m_batch;
   std::mutex m_mutex; ///< never waited for under the interpreter's lock
};

py::object frames(Batch& self, const Array& q, const Optional& base, const py::object& out)
{
   Arguments arguments(self.statesOf(q));
   const Input positions = self.positions(arguments, q, base);
   const std::span result = arguments.write(out, "out", {q.shape(0), self.dof(), 7});
   self.run(arguments, [&](ZqMotionBatch& batch) { return batch.frames(positions, result); });
   return arguments.result();
}

py::object massMatrix(Batch& self, const Array& q, const Optional& base, const py::object& out)
{
   Arguments arguments(self.statesOf(q));
   const Input positions = self.positions(arguments, q, base);
   const std::span result = arguments.write(out, "out", {q.shape(0), self.size(), self.size()});
   self.run(arguments, [&](ZqMotionBatch& batch) { return batch.massMatrix(positions, result); });
   return arguments.result();
}

using Operation = bool (ZqMotionBatch::*)(Input, Input, Input, Output);

/// Inverse or forward dynamics, by what is given.
template <Operation operation>
py::object dynamics(Batch& self, const Array& q, const Optional& v, const Optional& given,
                    const Optional& base, const Optional& baseVelocity, const Optional& baseGiven,
                    const py::object& out)
{
   constexpr bool isInverse = operation == &ZqMotionBatch::inverseDynamics;
   Arguments arguments(self.statesOf(q));
   const Input positions = self.positions(arguments, q, base);
   const Input velocities = self.input(arguments, v, "v", baseVelocity, "base_velocity", 6);
   const Input third = self.input(arguments, given, isInverse ? "a" : "tau", baseGiven,
                                  isInverse ? "base_acceleration" : "base_force", 6);
   const Output result = self.output(arguments, out, q.shape(0));
   self.run(arguments, [&](ZqMotionBatch& batch)
            { return (batch.*operation)(positions, velocities, third, result); });
   return arguments.result();
}

void step(Batch& self, const py::object& q, const py::object& v, const Optional& tau, ZqReal dt,
          const py::object& base, const py::object& baseVelocity, const Optional& baseForce)
{
   const py::ssize_t states = py::isinstance<Array>(q) ? self.statesOf(q.cast<Array>()) : 0;
   Arguments arguments(states);
   if (q.is_none() || v.is_none() || (self.isFree() && (base.is_none() || baseVelocity.is_none())))
      throw py::type_error(
         "step: q and v are written in place, and base and base_velocity of a free base");
   if (!self.isFree() && !(base.is_none() && baseVelocity.is_none()))
      throw py::value_error("base: the base is fixed");
   Output positions{arguments.write(q, "q", {states, self.dof()})};
   Output velocities{arguments.write(v, "v", {states, self.dof()})};
   if (self.isFree())
   {
      positions.bases = arguments.write(base, "base", {states, 7});
      velocities.bases = arguments.write(baseVelocity, "base_velocity", {states, 6});
   }
   const Input torques = self.input(arguments, tau, "tau", baseForce, "base_force", 6);
   self.run(arguments,
            [&](ZqMotionBatch& batch) { return batch.step(positions, velocities, torques, dt); });
}

const char* instructionSet(Batch& self)
{
   const auto set = self.ask([](const ZqMotionBatch& batch) { return batch.instructionSet(); });
   return instructionSets[static_cast<std::size_t>(set)].first;
}

void setInstructionSet(Batch& self, const std::string& name)
{
   for (const auto& [known, set] : instructionSets)
      if (name == known)
         return self.change("set the instruction set", [set = set](ZqMotionBatch& batch)
                            { return batch.setInstructionSet(set); });
   throw py::value_error(
      "instruction_set: expected 'baseline', 'avx2' or 'avx512', but received '" + name + "'");
}

void setThreads(Batch& self, ZqU32 count)
{
   self.change("set the threads",
               [count](ZqMotionBatch& batch) { return batch.setThreads(count); });
}

void setGravity(Batch& self, const Array& gravity)
{
   const ZqVector vector = -vectorOf(gravity, "gravity");
   self.change("set gravity",
               [&](ZqMotionBatch& batch)
               {
                  batch.setUpGravity(vector);
                  return true;
               });
}
} // namespace

void zqPython::bindBatch(py::module_& module)
{
   py::class_<Batch>(
      module, "Batch",
      "Many states of one manipulator at once, a row each: n x dof arrays of joints (rad or m, and "
      "N m or N).\n\n"
      "A free base stands in arrays of its own, in the axes of the system: `base`, the frame of "
      "the base "
      "(n x 7: x y z, w x y z), and n x 6 of velocities, accelerations and forces, linear before "
      "angular. With a "
      "free base results are pairs, of joints and of the base. What is left out is zero; `base` of "
      "a fixed base "
      "is where the model is.\n\n"
      "Arrays of float64 that lie in rows are read where they are, and `out` is filled where it "
      "is: an array (or "
      "a pair) that can be written, lies in rows, is of the shape of the result and shares no "
      "memory with anything "
      "else. Calls release the interpreter's lock; one batch serves one call at a time, and others "
      "wait.\n\n"
      "Springs, dampers, constraints, losses of drives and what is attached play no part; the "
      "inertia of drives "
      "does. A state that is not finite spoils its own row alone. Results agree in all bits for "
      "any number of "
      "states and threads.\n\n"
      "It keeps the model as it is now: later edits of the scene do not matter to it.")
      .def(
         py::init(
            [](const Manipulator& manipulator, ZqU32 threads, const std::optional<std::string>& set)
            {
               auto batch = std::make_unique<Batch>(manipulator);
               setThreads(*batch, threads);
               if (set)
                  setInstructionSet(*batch, *set);
               return batch;
            }),
         py::arg("manipulator"), py::kw_only(), py::arg("threads") = 1,
         py::arg("instruction_set") = py::none())
      .def_property_readonly("dof", &Batch::dof, "Number of joints.")
      .def_property_readonly("size", &Batch::size,
                             "Number of degrees of freedom: six more for a free base.")
      .def_property_readonly("is_free", &Batch::isFree, "Whether the base moves.")
      .def_property(
         "threads",
         [](Batch& self)
         { return self.ask([](const ZqMotionBatch& batch) { return batch.threads(); }); },
         &setThreads, "How many share the states, the caller among them.")
      .def_property("instruction_set", &instructionSet, &setInstructionSet,
                    "'baseline', 'avx2' or 'avx512'; the widest that the processor has at first.")
      .def_property(
         "gravity",
         [](Batch& self) {
            return arrayOf(self.ask([](const ZqMotionBatch& batch) { return -batch.upGravity(); }));
         },
         &setGravity,
         "In the system (m/s^2), as of a scene: (0, 0, -9.8) pulls down. That of the scene at "
         "first.")
      .def("frames", &frames, py::arg("q"), py::kw_only(), py::arg("base") = py::none(),
           py::arg("out") = py::none(),
           "The D-H frame of each link in the system (n x dof x 7: x y z, w x y z).")
      .def("mass_matrix", &massMatrix, py::arg("q"), py::kw_only(), py::arg("base") = py::none(),
           py::arg("out") = py::none(),
           "n x size x size; a free base comes before the joints, in the axes of the system.")
      .def("inverse", &dynamics<&ZqMotionBatch::inverseDynamics>, py::arg("q"),
           py::arg("v") = py::none(), py::arg("a") = py::none(), py::kw_only(),
           py::arg("base") = py::none(), py::arg("base_velocity") = py::none(),
           py::arg("base_acceleration") = py::none(), py::arg("out") = py::none(),
           "The torques under which everything accelerates so.")
      .def("forward", &dynamics<&ZqMotionBatch::forwardDynamics>, py::arg("q"),
           py::arg("v") = py::none(), py::arg("tau") = py::none(), py::kw_only(),
           py::arg("base") = py::none(), py::arg("base_velocity") = py::none(),
           py::arg("base_force") = py::none(), py::arg("out") = py::none(),
           "The accelerations under torques, by articulated bodies.")
      .def("step", &step, py::arg("q"), py::arg("v"), py::arg("tau") = py::none(), py::kw_only(),
           py::arg("dt"), py::arg("base") = py::none(), py::arg("base_velocity") = py::none(),
           py::arg("base_force") = py::none(),
           "Advances q and v, and base and base_velocity of a free base, where they are, by a step "
           "of "
           "semi-implicit Euler: v += dt a, and then q += dt v. Limits of joints do not count.")
      .def("__repr__", [](const Batch& self)
           { return "<Batch of '" + self.model().manipulatorLabel() + "'>"; });
}
