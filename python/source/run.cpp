#include "apps/replay/page.h"
#include "apps/replay/replay.h"
#include "python/source/arrays.h"
#include "python/source/failures.h"
#include "python/source/simulation.h"

#include <array>
#include <chrono>
#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <set>
#include <sstream>
#include <string_view>
#include <utility>
#include <variant>

namespace
{
using namespace zqPython;

// Tables of inputs

void setInterpolation(ZqInputTable& table, const std::string& name)
{
   if (name != "hold" && name != "linear")
      throw py::value_error("interpolation: expected 'hold' or 'linear', but received '" + name +
                            "'");
   table.setInterpolation(name == "hold" ? ZqInputTable::Interpolation::Hold
                                         : ZqInputTable::Interpolation::Linear);
}

/// A table as text, of columns by name.
std::string csvOf(const py::dict& columns)
{
   const py::object csv = py::module_::import("csv");
   const py::object text = py::module_::import("io").attr("StringIO")();
   const py::object writer = csv.attr("writer")(text);
   writer.attr("writerow")(py::list(columns));
   py::list lists;
   for (const auto& [name, column] : columns)
      lists.append(column.cast<Array>().attr("tolist")());
   const py::object rows =
      py::module_::import("builtins").attr("zip")(*lists, py::arg("strict") = true);
   writer.attr("writerows")(rows);
   return text.attr("getvalue")().cast<std::string>();
}

InputTable makeTable(const Scene& scene, const py::object& source, const std::string& interpolation)
{
   InputTable result;
   setInterpolation(result.table, interpolation);
   const ZqManipulatorSystem& system = scene.stated().system();
   if (py::isinstance<py::dict>(source))
   {
      std::istringstream stream(csvOf(source));
      perform("read the inputs", [&] { return result.table.read(stream, "inputs", system); });
      return result;
   }
   const auto path = py::module_::import("os").attr("fspath")(source).cast<std::string>();
   perform("read " + path, [&] { return result.table.load(path, system); });
   return result;
}

// Steps

/// The times of steps: multiples of their length, as `zqsim run` has them, so that a run that goes on where
/// another has ended steps at the same times as one. The first and the last step may be shorter.
class Times
{
public:
   Times(ZqReal start, ZqReal end, ZqReal step) : m_end(end), m_step(step)
   {
      if (!(step > 0.0) || !std::isfinite(step))
         throw py::value_error("dt: expected a positive length of time");
      if (!(end >= start || isSame(end, start)) || !std::isfinite(end))
         throw py::value_error("duration: expected one that does not end before the present time");
      constexpr ZqReal most = 1e15;
      if (!(std::max(std::abs(start), std::abs(end)) / step <= most &&
            (end - start) / step <= most))
         throw py::value_error("dt: the steps are too short");
      const auto isMultiple = [&](ZqReal time)
      { return isSame(time, std::round(time / step) * step); };
      m_startMultiple = isMultiple(start) ? std::round(start / step) : std::floor(start / step);
      ZqReal endMultiple = std::ceil(end / step);
      m_nextMultiple = endMultiple;
      if (isMultiple(end))
      {
         endMultiple = std::round(end / step);
         m_end = endMultiple * step;
         m_nextMultiple = endMultiple + 1.0;
      }
      if (!isSame(m_end, start))
         m_count = static_cast<std::uint64_t>(endMultiple - m_startMultiple);
   }
   std::uint64_t count() const { return m_count; }
   ZqReal after(std::uint64_t steps) const
   {
      if (steps == m_count)
         return m_end;
      return steps < m_count ? (m_startMultiple + static_cast<ZqReal>(steps)) * m_step
                             : m_nextMultiple * m_step;
   }

private:
   /// Within rounding.
   static bool isSame(ZqReal time, ZqReal other)
   {
      return std::abs(time - other) <= 4.0 * std::numeric_limits<ZqReal>::epsilon() *
                                          std::max(std::abs(time), std::abs(other));
   }

   ZqReal m_end;
   ZqReal m_step;
   ZqReal m_startMultiple = 0.0;
   ZqReal m_nextMultiple = 0.0;
   std::uint64_t m_count = 0;
};

/// What is recorded: columns of numbers, a row a sample.
class Recorder
{
public:
   Recorder(Simulation& simulation, const std::set<std::string>& names) : m_simulation(simulation)
   {
      const auto joints = static_cast<py::ssize_t>(simulation.joints().size());
      const auto bodies = static_cast<py::ssize_t>(simulation.bodies().size());
      const std::vector<Column> all{
         {"q", &Simulation::appendPositions, {joints}},
         {"v", &Simulation::appendVelocities, {joints}},
         {"a", &Simulation::appendAccelerations, {joints}},
         {"motor_torques", &Simulation::appendMotorTorques, {joints}},
         {"base", &Simulation::appendBases, {bodies, 7}},
         {"base_velocity", &Simulation::appendBaseVelocities, {bodies, 6}},
         {"base_acceleration", &Simulation::appendBaseAccelerations, {bodies, 6}}};
      std::size_t found = 0;
      for (const Column& column : all)
         if (names.contains(column.name))
            m_columns.push_back(column);
      m_recordsEnergy = names.contains("energy");
      m_recordsContacts = names.contains("contacts");
      found = m_columns.size() + std::size_t(m_recordsEnergy) + std::size_t(m_recordsContacts);
      if (found != names.size())
         throw py::value_error(
            "record: expected names out of q, v, a, motor_torques, base, base_velocity, "
            "base_acceleration, energy, contacts");
   }

   /// Without the interpreter's lock. False when the energy is not finite.
   bool take()
   {
      m_times.push_back(m_simulation->state().time());
      for (Column& column : m_columns)
         std::visit([&](auto append) { (m_simulation.*append)(column.numbers); }, column.append);
      if (m_recordsEnergy)
      {
         const ZqSimulation::Energy energy = m_simulation->energy();
         m_energies.insert(m_energies.end(), {energy.kinetic, energy.potential, energy.total()});
      }
      if (m_recordsContacts)
         for (const ZqSimulation::Contact& contact : m_simulation->contacts())
         {
            m_contactNumbers.insert(
               m_contactNumbers.end(),
               {m_times.back(), contact.depth, contact.normalForce, contact.frictionForce});
            m_contactPlaces.emplace_back(contact.first, contact.second);
         }
      return !m_simulation->divergence();
   }
   bool hasLast() const
   {
      return !m_times.empty() && m_times.back() == m_simulation->state().time();
   }

   py::dict result()
   {
      const auto samples = static_cast<py::ssize_t>(m_times.size());
      py::dict result;
      for (Column& column : m_columns)
      {
         Shape shape{samples};
         shape.insert(shape.end(), column.shape.begin(), column.shape.end());
         result[column.name] = zqPython::take(std::move(column.numbers), shape);
      }
      result["time"] = zqPython::take(std::move(m_times), {samples});
      if (m_recordsEnergy)
         result["energy"] = zqPython::take(std::move(m_energies), {samples, 3});
      if (m_recordsContacts)
      {
         py::list pairs;
         for (const auto& [first, second] : m_contactPlaces)
            pairs.append(py::make_tuple(m_simulation.nameOf(first), m_simulation.nameOf(second)));
         result["contact_pairs"] = pairs;
         const auto rows = static_cast<py::ssize_t>(m_contactPlaces.size());
         result["contact_numbers"] = zqPython::take(std::move(m_contactNumbers), {rows, 4});
      }
      return result;
   }

private:
   using Numbers = Simulation::Numbers;
   struct Column
   {
      const char* name;
      std::variant<void (Simulation::*)(Numbers&) const, void (Simulation::*)(Numbers&)> append;
      Shape shape; ///< of a row
      Numbers numbers = {};
   };

   Simulation& m_simulation;
   std::vector<Column> m_columns;
   bool m_recordsEnergy = false;
   bool m_recordsContacts = false;
   Numbers m_times;
   Numbers m_energies;
   Numbers m_contactNumbers;
   std::vector<std::pair<ZqSimulation::Place, ZqSimulation::Place>> m_contactPlaces;
};

/// What drives a run: nothing, a table, torques that are held, a row of them a step, or a function.
class Driver
{
public:
   Driver(Simulation& simulation, const py::object& inputs, std::uint64_t steps)
      : m_simulation(simulation)
   {
      if (inputs.is_none())
         return;
      if (py::isinstance<InputTable>(inputs))
         m_table = inputs.cast<const InputTable&>().table;
      else if (PyCallable_Check(inputs.ptr()) != 0)
         m_function = inputs;
      else
         takeRows(inputs.cast<Array>(), steps);
   }

   bool callsPython() const { return static_cast<bool>(m_function); }
   /// Before a step, which is the one after so many; also after the last one, when everything stays as it is set.
   /// With the interpreter's lock if it calls Python.
   void prepare(std::uint64_t steps, ZqReal end, const py::object& self)
   {
      if (m_table)
         m_table->apply(*m_simulation, end);
      else if (m_function)
      {
         const py::object answer = m_function(self);
         if (!answer.is_none())
            self.attr("torques") = answer;
      }
      else if (!m_rows.empty())
      {
         const std::size_t width = m_simulation.joints().size();
         const std::size_t row = std::min<std::size_t>(steps, m_rows.size() / width - 1);
         const auto first = m_rows.begin() + static_cast<std::ptrdiff_t>(row * width);
         m_torques.assign(first, first + static_cast<std::ptrdiff_t>(width));
         m_simulation->setTorques(m_torques);
      }
   }

private:
   void takeRows(const Array& array, std::uint64_t steps)
   {
      const auto joints = static_cast<py::ssize_t>(m_simulation.joints().size());
      if (array.ndim() == 1)
         require(array, "inputs", {joints});
      else
         require(array, "inputs", {static_cast<py::ssize_t>(steps), joints});
      const std::span numbers = numbersOf(array);
      for (const ZqReal number : numbers)
         if (!std::isfinite(number))
            throw py::value_error("inputs: expected finite numbers");
      m_rows.assign(numbers.begin(), numbers.end());
   }

   Simulation& m_simulation;
   std::optional<ZqInputTable> m_table;
   py::object m_function;
   std::vector<ZqReal> m_rows;
   std::vector<ZqReal> m_torques;
};

/// Lets Ctrl-C through, a few times a second.
class Interruptions
{
public:
   void look()
   {
      const auto now = std::chrono::steady_clock::now();
      if (now < m_next)
         return;
      m_next = now + std::chrono::milliseconds(100);
      const py::gil_scoped_acquire acquire;
      if (PyErr_CheckSignals() != 0)
         throw py::error_already_set();
   }

private:
   std::chrono::steady_clock::time_point m_next = std::chrono::steady_clock::now();
};

struct Running
{
   explicit Running(Simulation& of) : simulation(of) { simulation.isRunning = true; }
   Running(const Running&) = delete;
   Running& operator=(const Running&) = delete;
   ~Running() { simulation.isRunning = false; }

   Simulation& simulation;
};

/// Takes the steps, and answers why the last one was it.
const char* takeSteps(Simulation& simulation, const Times& times, Driver& driver,
                      const py::object& self, Recorder& recorder, std::uint64_t every,
                      zqReplay::Recording* replay)
{
   Interruptions interruptions;
   const auto prepare = [&](std::uint64_t steps)
   {
      std::optional<py::gil_scoped_acquire> acquire;
      if (driver.callsPython())
         acquire.emplace();
      driver.prepare(steps, times.after(steps + 1), self);
   };
   const auto look = [&](bool isDue)
   {
      if (replay != nullptr)
         replay->sample(*simulation);
      return !isDue || recorder.take();
   };
   prepare(0);
   bool isFinite = look(true);
   const char* end = nullptr;
   for (std::uint64_t steps = 0; end == nullptr; ++steps)
   {
      if (!isFinite)
         return "diverged";
      if (!simulation->firedCriteria().empty())
         end = "stopping criterion";
      else if (steps == times.count())
         end = "time reached";
      else if (!simulation->stepTo(times.after(steps + 1)))
         return "diverged";
      else
      {
         prepare(steps + 1);
         isFinite = look(simulation->steps() % every == 0);
         interruptions.look();
      }
   }
   if (!recorder.hasLast() && !recorder.take())
      return "diverged";
   if (replay != nullptr)
      replay->sampleLast(*simulation);
   return end;
}

py::object run(const py::object& self, const std::optional<ZqReal>& duration, ZqReal dt,
               const std::optional<ZqReal>& until, const py::object& inputs,
               const py::iterable& record, std::uint64_t every, bool withReplay,
               const std::string& title)
{
   auto& simulation = self.cast<Simulation&>();
   const Simulation::Use use(simulation);
   if (simulation.isRunning)
      throw std::runtime_error("run: what a run calls cannot take steps itself");
   if (duration.has_value() == until.has_value())
      throw py::type_error("run: expected either duration or until");
   if (every == 0)
      throw py::value_error("every: expected one or more");
   const ZqReal start = simulation->state().time();
   const Times times(start, duration ? start + *duration : *until, dt);
   Recorder recorder(simulation, py::set(record).cast<std::set<std::string>>());
   Driver driver(simulation, inputs, times.count());
   std::optional<zqReplay::Recording> replay;
   if (withReplay)
      replay.emplace(*simulation, zqReplay::Recording::Settings{.title = title});

   const char* end = nullptr;
   std::vector<Zq::Diagnostic> diagnostics;
   {
      const Running running(simulation);
      const py::gil_scoped_release release;
      const Zq::DiagnosticCollector collector;
      end =
         takeSteps(simulation, times, driver, self, recorder, every, replay ? &*replay : nullptr);
      diagnostics = collector.diagnostics();
   }
   py::dict arrays = recorder.result();
   const py::object result =
      py::module_::import("zqmanipulator._run")
         .attr("Run")(arrays, simulation.joints(), simulation.bodies(), end,
                      replay ? py::cast(replay->json()) : py::object(py::none()));
   if (end != std::string_view("diverged"))
   {
      warn(diagnostics);
      return result;
   }
   try
   {
      failStep(simulation, diagnostics);
   }
   catch (py::error_already_set& error)
   {
      error.value().attr("run") = result;
      throw;
   }
}

/// A scene as it stands, for the page.
std::string pictureOf(const Scene& scene, const std::string& title)
{
   const ZqStatedSystem copy = scene.stated();
   std::string json;
   perform("show the scene",
           [&]
           {
              ZqSimulation simulation(copy, {.closesLoops = false, .interacts = false});
              zqReplay::Recording recording(simulation, {.title = title});
              recording.sampleLast(simulation);
              json = recording.json();
              return true;
           });
   return json;
}
} // namespace

void zqPython::bindRun(py::module_& module)
{
   py::class_<InputTable>(
      module, "InputTable",
      "What drives a simulation over time: columns by name, of which the first is time (s, "
      "increasing).\n\n"
      "The others are called 'manipulator/link' and, after a space, command, torque, force x, "
      "force y, force z, "
      "moment x, moment y or moment z; `inputs_of` tells all. Lines hold until the next one, or "
      "are joined by "
      "straight lines ('linear'). source: the path of a CSV file, or a dict of columns.")
      .def(py::init(&makeTable), py::arg("scene"), py::arg("source"), py::kw_only(),
           py::arg("interpolation") = "hold")
      .def_property_readonly("times",
                             [](const InputTable& self) {
                                return readOnly(self.table.times(), {static_cast<py::ssize_t>(
                                                                       self.table.times().size())});
                             })
      .def_property_readonly("names",
                             [](const InputTable& self)
                             {
                                std::vector<std::string> names;
                                for (const ZqInputTable::Input& input : self.table.inputs())
                                   names.push_back(input.name);
                                return names;
                             })
      .def_property_readonly(
         "values",
         [](const InputTable& self)
         {
            std::vector<ZqReal> values;
            for (std::size_t i = 0; i < self.table.times().size(); ++i)
               for (std::size_t j = 0; j < self.table.inputs().size(); ++j)
                  values.push_back(self.table.value(i, j));
            return take(std::move(values), {static_cast<py::ssize_t>(self.table.times().size()),
                                            static_cast<py::ssize_t>(self.table.inputs().size())});
         },
         "A row for each time, a column for each name.")
      .def("__repr__",
           [](const InputTable& self)
           {
              return "<InputTable of " + std::to_string(self.table.inputs().size()) +
                     " columns and " + std::to_string(self.table.times().size()) + " lines>";
           });
   module.def(
      "inputs_of",
      [](const Scene& scene)
      {
         std::vector<std::string> names;
         for (const ZqInputTable::Input& input : ZqInputTable::inputsOf(scene.stated().system()))
            names.push_back(input.name);
         return names;
      },
      py::arg("scene"),
      "The names of all columns that an `InputTable` of the scene may have, but for time.");

   SimulationClass(module.attr("Simulation"))
      .def("run", &run, py::arg("duration") = py::none(), py::arg("dt") = 1e-3, py::kw_only(),
           py::arg("until") = py::none(), py::arg("inputs") = py::none(),
           py::arg("record") = py::make_tuple("q", "v", "base", "energy"), py::arg("every") = 1,
           py::arg("replay") = true, py::arg("title") = "",
           "Takes steps of a length dt (s) for a duration, or until a time, and answers a `Run` of "
           "what was "
           "recorded: at the start, after every so many steps, and at the end. Steps end at "
           "multiples of dt, as those "
           "of `zqsim run`; the first and the last may be shorter.\n\n"
           "inputs: an `InputTable`; an array of torques at the motors that are held (joints), or "
           "a row of them a "
           "step (steps x joints); or a function, which is called with the simulation before each "
           "step, sets what it "
           "likes and may return such torques. Without a function the interpreter's lock is "
           "released throughout.\n\n"
           "record: names out of q, v, a, motor_torques, base, base_velocity, base_acceleration, "
           "energy, contacts. "
           "replay: whether the `Run` can show itself moving.\n\n"
           "What diverges raises an `Error`, of which `run` has what there was until then. A "
           "stopping criterion "
           "ends the run. Ctrl-C interrupts it between two steps.");
   module.def("_picture", &pictureOf, py::arg("scene"), py::arg("title") = "");
   module.def("_page", [](const std::string& page, const std::vector<std::string>& scenes)
              { return zqReplay::makePage(page, scenes); });
}
