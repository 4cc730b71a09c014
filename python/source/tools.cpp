#include "python/source/documents.h"
#include "python/source/edits.h"
#include "zqManipulator/tools/checks/ZqModelCheck.h"
#include "zqManipulator/tools/conversion/ZqKinematicsConversionTool.h"
#include "zqManipulator/tools/difference/ZqModelDifference.h"
#include "zqManipulator/tools/difference/ZqMotionDifference.h"
#include "zqManipulator/tools/sampling/ZqModelVariation.h"

#include <cmath>

namespace
{
using namespace zqPython;

// Conversion.

bool convertToPrecursors(ZqIndividualManipulator& model)
{
   for (ZqU32 i = 0; i < model.jointDof(); ++i)
      if (!ZqKinematicsConversionTool::reconfigureDhToPrecursor(model,
                                                                model.linkByIndex(i)->linkLabel()))
         return false;
   return true;
}

void convert(const Manipulator& manipulator, const std::string& form)
{
   const ZqU32 index = manipulator.index();
   ZqStatedSystem converted = manipulator.scene->stated();
   performNow("convert a manipulator",
              [&]
              {
                 const ZqKinematicsConversionTool tool;
                 if (form == "craig")
                    return tool.convertManipulatorToCraigsDhForm(converted, converted, index);
                 if (form == "identity-frames")
                    return tool.reconfigureForIdentityPrimaryFrames(converted, index);
                 if (form != "precursor")
                    throw py::value_error(
                       "form: expected 'craig', 'precursor' or 'identity-frames', but received '" +
                       form + "'");
                 bool isDone = false;
                 return converted.restateManipulator(index, [&](ZqIndividualManipulator& model)
                                                     { isDone = convertToPrecursors(model); }) &&
                        isDone;
              });
   manipulator.scene->model() = converted;
}

void flip(const Link& link)
{
   link.model();
   const ZqU32 index = link.manipulator.index();
   performNow(
      "flip a joint",
      [&]
      {
         bool isDone = false;
         return link.manipulator.scene->model().restateManipulator(
                   index, [&](ZqIndividualManipulator& model)
                   { isDone = ZqKinematicsConversionTool::flipJointSign(model, *link.label); }) &&
                isDone;
      });
}

std::vector<Link> addSagJoints(const Link& link)
{
   std::vector<std::string> labels;
   link.model();
   edit(link.manipulator, "add joints",
        [&](ZqIndividualManipulator& model)
        { return ZqKinematicsConversionTool::add3SagJoints(model, *link.label, labels); });
   std::vector<Link> links;
   for (const std::string& label : labels)
      links.push_back(linkOf(link.manipulator, label));
   return links;
}

void recenter(const Manipulator& manipulator, const std::vector<double>& centers)
{
   const ZqU32 index = manipulator.index();
   if (centers.size() != manipulator.model().jointDof())
      throw py::value_error("centers: expected one for each joint");
   performNow("recenter limits",
              [&]
              {
                 return ZqKinematicsConversionTool().recenterJointLimits(manipulator.scene->model(),
                                                                         index, centers);
              });
}

// Checks and differences.

std::vector<Zq::Diagnostic> check(const Scene& scene, std::optional<ZqReal> step)
{
   if (step && (!(*step > 0.0) || !std::isfinite(*step)))
      throw py::value_error("step: expected a finite number above zero");
   const ZqStatedSystem copy = scene.stated();
   const py::gil_scoped_release release;
   return Zq::checkModel(copy, step);
}

std::vector<ZqModelDifference::Entry> difference(const Scene& first, const Scene& second,
                                                 ZqReal tolerance, ZqReal relative,
                                                 const std::vector<ZqString>& ignored)
{
   if (!(tolerance >= 0.0) || !(relative >= 0.0))
      throw py::value_error("tolerance, relative: expected numbers that are not below zero");
   const ZqStatedSystem one = first.stated();
   const ZqStatedSystem other = second.stated();
   std::vector<ZqModelDifference::Entry> entries;
   perform("compare scenes",
           [&]
           {
              ZqModelDifference::Settings settings;
              settings.tolerance = tolerance;
              settings.relative = relative;
              settings.ignored = ignored;
              const ZqModelDifference found(one, other, settings);
              entries = found.entries();
              return found.isValid();
           });
   return entries;
}

ZqMotionDifference motionDifference(const Scene& first, const Scene& second, ZqU32 states,
                                    ZqU32 seed)
{
   const ZqStatedSystem one = first.stated();
   const ZqStatedSystem other = second.stated();
   ZqMotionDifference result;
   perform("compare motions",
           [&]
           {
              result = ZqMotionDifference::between(one, other, {.states = states, .seed = seed});
              return true;
           });
   return result;
}

void bindDifferences(py::module_& module)
{
   using Entry = ZqModelDifference::Entry;
   py::class_<Entry>(module, "Difference", "What differs between two documents.")
      .def_readonly("path", &Entry::path, "The elements that lead there, apart by slashes.")
      .def_readonly("first", &Entry::first, "The value of the first, or None where it has none.")
      .def_readonly("second", &Entry::second)
      .def("__repr__",
           [](const Entry& self)
           {
              const auto text = [](const std::optional<ZqString>& value)
              { return value ? *value : "nothing"; };
              return "<Difference " + self.path + ": " + text(self.first) + " and " +
                     text(self.second) + ">";
           });
   using Deviation = ZqMotionDifference::Deviation;
   py::class_<Deviation>(module, "Deviation", "The greatest deviation between two scenes.")
      .def_readonly("value", &Deviation::value)
      .def_readonly("place", &Deviation::place, "'manipulator/link', or empty.")
      .def_readonly("state", &Deviation::state, "The number of the state.")
      .def("__repr__",
           [](const Deviation& self)
           {
              return "<Deviation " + py::repr(py::float_(self.value)).cast<std::string>() +
                     " at '" + self.place + "'>";
           });
   py::class_<ZqMotionDifference>(module, "MotionDifference",
                                  "How far two scenes come apart in the same states.")
      .def_readonly("position", &ZqMotionDifference::position, "Of links (m).")
      .def_readonly("orientation", &ZqMotionDifference::orientation, "Of links (rad).")
      .def_readonly("mass", &ZqMotionDifference::mass, "Of links (kg).")
      .def_readonly("inertia", &ZqMotionDifference::inertia,
                    "Of links about their centers of mass (kg m^2).")
      .def_readonly("acceleration", &ZqMotionDifference::acceleration,
                    "Of joints and free bases under gravity, relative to the greatest.")
      .def_readonly("only_in_first", &ZqMotionDifference::onlyInFirst)
      .def_readonly("only_in_second", &ZqMotionDifference::onlyInSecond)
      .def("is_within", &ZqMotionDifference::isWithin, py::arg("tolerance"));
   module.def(
      "difference", &difference, py::arg("first"), py::arg("second"), py::arg("tolerance") = 0.0,
      py::arg("relative") = 0.0, py::arg("ignored") = std::vector<ZqString>(),
      "What differs between the documents of two scenes.\n\n"
      "Numbers are equal within tolerance + relative max(|a|, |b|); what stands at or below an "
      "element that is ignored is passed over.");
   module.def("motion_difference", &motionDifference, py::arg("first"), py::arg("second"),
              py::arg("states") = 100, py::arg("seed") = 1,
              "Whether two scenes move alike, whatever their conventions: in states by chance.");
}

// Variation.

std::shared_ptr<Scene> vary(const Scene& scene, const ZqVariationStudy& study, ZqU32 seed,
                            ZqU32 sample)
{
   const ZqStatedSystem copy = scene.stated();
   ZqStatedSystem varied;
   perform("vary a scene", [&] { return Zq::varyModel(copy, {study, seed, sample}, varied); });
   return std::make_shared<Scene>(std::move(varied));
}

ZqVariationStudy loadStudy(const py::object& path)
{
   const auto file = py::module_::import("os").attr("fspath")(path).cast<ZqString>();
   ZqVariationStudy study;
   perform("load " + file, [&] { return Zq::load(study, file); });
   return study;
}

struct Sigmas
{
   ZqReal mass, translation, angle, limits, torqueLimits, velocityLimits;
   ZqReal q, v, basePosition, baseAngle, baseVelocity, baseAngularVelocity;
};

ZqVariationStudy studyOf(const Sigmas& sigmas)
{
   ZqMassPropertyRandomVariation mass;
   mass.setMassRandomVariation(sigmas.mass);
   ZqJointActuatorRandomVariation drive;
   drive.setPositionRandomVariation(sigmas.limits);
   drive.setTorqueRandomVariation(sigmas.torqueLimits);
   drive.setVelocityRandomVariation(sigmas.velocityLimits);
   ZqLinkPropertyRandomVariation link;
   link.setMassPropertyRandomVariation(mass);
   link.setLinkKinematicsRandomVariation({sigmas.translation, sigmas.angle});
   link.setJointActuatorRandomVariation(drive);
   ZqSystemRandomVariation system;
   system.setDefaultLinkPropertyRandomVariation(link);

   ZqPositionStateRandomVariation position;
   position.setDefaultJointPositionOneSigma(sigmas.q);
   position.setBasePositionOneSigma(sigmas.basePosition);
   position.setBaseAngleOneSigma(sigmas.baseAngle);
   ZqVelocityStateRandomVariation velocity;
   velocity.setDefaultJointVelocityOneSigma(sigmas.v);
   velocity.setBaseLinearVelocityOneSigma(sigmas.baseVelocity);
   velocity.setBaseAngularVelocityOneSigma(sigmas.baseAngularVelocity);
   ZqStateRandomVariation state;
   state.setDefaultPositionStateRandomVariation(position);
   state.setDefaultVelocityStateRandomVariation(velocity);

   ZqVariationStudy study(system, state);
   if (const ZqString fault = study.fault(); !fault.empty())
      throw py::value_error(fault);
   return study;
}

void bindVariation(py::module_& module)
{
   py::class_<ZqVariationStudy>(
      module, "VariationStudy",
      "How uncertain a scene is: standard deviations of its properties, as a document.")
      .def(py::init(
              [](ZqReal mass, ZqReal translation, ZqReal angle, ZqReal limits, ZqReal torqueLimits,
                 ZqReal velocityLimits, ZqReal q, ZqReal v, ZqReal basePosition, ZqReal baseAngle,
                 ZqReal baseVelocity, ZqReal baseAngularVelocity)
              {
                 return studyOf({mass, translation, angle, limits, torqueLimits, velocityLimits, q,
                                 v, basePosition, baseAngle, baseVelocity, baseAngularVelocity});
              }),
           py::kw_only(), py::arg("mass") = 0.0, py::arg("translation") = 0.0,
           py::arg("angle") = 0.0, py::arg("limits") = 0.0, py::arg("torque_limits") = 0.0,
           py::arg("velocity_limits") = 0.0, py::arg("q") = 0.0, py::arg("v") = 0.0,
           py::arg("base_position") = 0.0, py::arg("base_angle") = 0.0,
           py::arg("base_velocity") = 0.0, py::arg("base_angular_velocity") = 0.0,
           "Standard deviations of every link and joint; documents also tell those of single "
           "ones.\n\n"
           "Of links: mass (kg), the place of the joint (translation in m, angle in rad), and "
           "limits of "
           "positions, torques and rates. Of the state: q, v and the base.")
      .def_static("load", &loadStudy, py::arg("path"))
      .def_static("from_xml", &objectOf<ZqVariationStudy>, py::arg("document"))
      .def(
         "to_xml",
         [](const ZqVariationStudy& self, bool defaults) { return documentOf(self, defaults); },
         py::arg("defaults") = true)
      .def(
         "__eq__",
         [](const ZqVariationStudy& self, const ZqVariationStudy& other) { return self == other; },
         py::is_operator())
      .def(documentPickle<ZqVariationStudy>());
   sceneClass(module)
      .def(
         "vary", &vary, py::arg("study"), py::arg("seed"), py::arg("sample") = 0,
         "A scene that is varied as a study tells. It follows from the seed and the number of the "
         "sample alone.")
      .def_property_readonly(
         "variation",
         [](const Scene& self) -> std::optional<std::pair<ZqU32, ZqU32>>
         {
            const ZqVariationOrigin& origin = self.stated().variationOrigin();
            if (origin == ZqVariationOrigin())
               return std::nullopt;
            return std::pair(origin.seed(), origin.sample());
         },
         "Seed and number of the sample of a scene that was varied; otherwise None.");
}
} // namespace

void zqPython::bindTools(py::module_& module)
{
   manipulatorClass(module)
      .def("convert", &convert, py::arg("form"),
           "Tells joints and frames in another convention; nothing moves.\n\n"
           "'craig': by Craig's D-H parameters; 'precursor': without parameters; "
           "'identity-frames': with "
           "the D-H frame of each link as its primary frame.")
      .def("recenter_limits", &recenter, py::arg("centers"),
           "Tells positions of joints by whole turns more or less, so that the middles of their "
           "limits "
           "come near to n centers (rad).");
   linkClass(module)
      .def("flip_joint", &flip, "Has the joint turn or slide in the other sense; nothing moves.")
      .def("add_sag_joints", &addSagJoints,
           "Puts three links behind this one that turn about x, y and z, and answers them.");
   sceneClass(module).def(
      "check", &check, py::arg("step") = py::none(),
      "What is odd about the scene, for a simulation by steps of a length (s).");
   bindDifferences(module);
   bindVariation(module);
}
