#include "python/source/arrays.h"
#include "python/source/documents.h"
#include "zqManipulator/kinematics/joint/ZqDenavitHartenberg.h"
#include "zqManipulator/kinematics/joint/ZqLinkKinematicsContainer.h"
#include "zqManipulator/kinematics/joint/ZqScrewTypeLink.h"

#include <array>
#include <cmath>

namespace
{
using namespace zqPython;
using Joint = ZqLinkKinematicsContainer;
using OptionalFrame = std::optional<Array>;

const ZqLinkKinematics& kinematicsOf(const Joint& joint)
{
   return *joint.topElement();
}

const ZqDenavitHartenberg* dhOf(const Joint& joint)
{
   return dynamic_cast<const ZqDenavitHartenberg*>(joint.topElement());
}

const ZqScrewTypeLink* screwOf(const Joint& joint)
{
   return dynamic_cast<const ZqScrewTypeLink*>(joint.topElement());
}

Joint jointOf(const ZqLinkKinematics& kinematics)
{
   Joint joint;
   joint.setTopElement(kinematics);
   return joint;
}

/// A parameter of D-H joints by its name.
struct Parameter
{
   const char* name;
   const char* documentation;
   ZqReal (*get)(const ZqDenavitHartenberg&);
   void (*set)(ZqDenavitHartenberg&, ZqReal);
};
constexpr std::array parameters{
   Parameter{"a", "Length along x (m).",
             [](const ZqDenavitHartenberg& joint) { return joint.dhA(); },
             [](ZqDenavitHartenberg& joint, ZqReal value) { joint.setDhA(value); }},
   Parameter{"alpha", "Twist about x (rad).",
             [](const ZqDenavitHartenberg& joint) -> ZqReal { return joint.dhAlpha(); },
             [](ZqDenavitHartenberg& joint, ZqReal value) { joint.setDhAlpha(value); }},
   Parameter{"d", "Offset along z (m); of a prismatic joint the position takes its place.",
             [](const ZqDenavitHartenberg& joint) { return joint.dhD(); },
             [](ZqDenavitHartenberg& joint, ZqReal value) { joint.setDhD(value); }},
   Parameter{"theta", "Angle about z (rad); of a revolute joint the position takes its place.",
             [](const ZqDenavitHartenberg& joint) -> ZqReal { return joint.dhTheta(); },
             [](ZqDenavitHartenberg& joint, ZqReal value) { joint.setDhTheta(value); }}};

ZqReal numberOf(const py::handle& value, const std::string& name)
{
   const auto number = value.cast<ZqReal>();
   if (!std::isfinite(number))
      throw py::value_error(name + ": expected a finite number");
   return number;
}

ZqU32 dhTypeOf(const std::string& convention, bool hasPrecursor)
{
   if (convention == "craig")
      return hasPrecursor ? ZqDenavitHartenberg::GeneralCraig : ZqDenavitHartenberg::Craig;
   if (convention == "paul")
      return hasPrecursor ? ZqDenavitHartenberg::GeneralPaul : ZqDenavitHartenberg::Paul;
   if (convention == "general")
      return ZqDenavitHartenberg::General;
   throw py::value_error("convention: expected 'craig', 'paul' or 'general', but received '" +
                         convention + "'");
}

const char* conventionOf(const ZqDenavitHartenberg& joint)
{
   constexpr std::array names{"paul", "paul", "craig", "craig", "general"};
   return joint.dhType() < names.size() ? names[joint.dhType()] : "unknown";
}

std::string kindOf(const Joint& joint)
{
   if (const ZqDenavitHartenberg* dh = dhOf(joint))
      return dh->jointType() == ZqDenavitHartenberg::Rotational ? "revolute" : "prismatic";
   return screwOf(joint) != nullptr ? "screw"
                                    : std::string(kinematicsOf(joint).token().localName());
}

/// Sets one parameter by its name; a joint that has none of the name is a `TypeError`.
void set(Joint& joint, const std::string& name, const py::handle& value)
{
   const auto frame = [&] { return frameOf(value.cast<Array>(), name.c_str()); };
   auto* dh = dynamic_cast<ZqDenavitHartenberg*>(joint.topElement());
   auto* screw = dynamic_cast<ZqScrewTypeLink*>(joint.topElement());
   if (name == "primary_frame")
      return joint.topElement()->setPrimaryFrame(frame());
   if (name == "precursor" && screw != nullptr)
      return screw->setPrecursor(frame());
   if (name == "pitch" && screw != nullptr)
      return screw->setPitch(numberOf(value, name));
   if (name == "precursor" && dh != nullptr)
   {
      dh->setDhType(dhTypeOf(conventionOf(*dh), true));
      return dh->setPrecursor(frame());
   }
   if (dh != nullptr)
      for (const Parameter& parameter : parameters)
         if (name == parameter.name)
            return parameter.set(*dh, numberOf(value, name));
   throw py::type_error("A joint that is " + kindOf(joint) + " has no parameter '" + name + "'");
}

Joint replaced(const Joint& joint, const py::kwargs& changes)
{
   Joint result = joint;
   for (const auto& [name, value] : changes)
      set(result, name.cast<std::string>(), value);
   return result;
}

Joint newDh(ZqU32 type, const std::string& convention, const std::array<ZqReal, 4>& values,
            const OptionalFrame& precursor, const OptionalFrame& primaryFrame)
{
   ZqDenavitHartenberg joint;
   joint.setJointType(type);
   joint.setDhType(dhTypeOf(convention, precursor.has_value()));
   for (std::size_t i = 0; i < parameters.size(); ++i)
   {
      if (!std::isfinite(values[i]) || (convention == "general" && values[i] != 0.0))
         throw py::value_error(std::string(parameters[i].name) +
                               (std::isfinite(values[i]) ? ": a general joint has none"
                                                         : ": expected a finite number"));
      parameters[i].set(joint, values[i]);
   }
   if (precursor)
      joint.setPrecursor(frameOf(*precursor, "precursor"));
   if (primaryFrame)
      joint.setPrimaryFrame(frameOf(*primaryFrame, "primary_frame"));
   return jointOf(joint);
}

Joint newScrew(ZqReal pitch, const OptionalFrame& precursor, const OptionalFrame& primaryFrame)
{
   ZqScrewTypeLink joint;
   joint.setPitch(numberOf(py::float_(pitch), "pitch"));
   if (precursor)
      joint.setPrecursor(frameOf(*precursor, "precursor"));
   if (primaryFrame)
      joint.setPrimaryFrame(frameOf(*primaryFrame, "primary_frame"));
   return jointOf(joint);
}

std::optional<Array> precursorOf(const Joint& joint)
{
   if (const ZqScrewTypeLink* screw = screwOf(joint))
      return arrayOf(screw->precursor());
   if (const ZqDenavitHartenberg* dh = dhOf(joint))
      return arrayOf(dh->precursor());
   return std::nullopt;
}

std::string textOf(const Joint& joint)
{
   std::string text = "<Joint " + kindOf(joint);
   const ZqDenavitHartenberg* dh = dhOf(joint);
   if (dh != nullptr && dh->dhType() != ZqDenavitHartenberg::General)
      for (const Parameter& parameter : parameters)
         text += std::string(" ") + parameter.name + "=" +
                 py::repr(py::float_(parameter.get(*dh))).cast<std::string>();
   return text + ">";
}

/// Joints from documents have a joint in their container.
Joint fromXml(const std::string& document)
{
   auto joint = objectOf<Joint>(document);
   if (joint.topElement() == nullptr)
      throw py::value_error("document: there is no joint in it");
   return joint;
}
} // namespace

void zqPython::bindJoint(py::module_& module)
{
   py::class_<Joint> joint(
      module, "Joint",
      "How a link moves on its parent, as a value: nothing of it is set but by `replace`.\n\n"
      "The position q of the joint places the D-H frame of the link in that of its parent:\n"
      "  craig    [precursor] Tx(a) Rx(alpha) Rz(theta) Tz(d)   (Craig 1986)\n"
      "  paul     [precursor] Rz(theta) Tz(d) Tx(a) Rx(alpha)   (Paul 1981)\n"
      "  general  precursor, then Rz(q) or Tz(q)\n"
      "  screw    precursor, then Tz(q) Rz(2 pi pitch q)\n"
      "Here q is theta of a revolute joint and d of a prismatic one. Frames are 4 x 4 matrices, or "
      "7 "
      "numbers x y z w x y z.");
   joint
      .def_static(
         "revolute",
         [](ZqReal a, ZqReal alpha, ZqReal d, const std::string& convention,
            const OptionalFrame& precursor, const OptionalFrame& primaryFrame)
         {
            return newDh(ZqDenavitHartenberg::Rotational, convention, {a, alpha, d, 0.0}, precursor,
                         primaryFrame);
         },
         py::arg("a") = 0.0, py::arg("alpha") = 0.0, py::arg("d") = 0.0,
         py::arg("convention") = "craig", py::arg("precursor") = py::none(),
         py::arg("primary_frame") = py::none(), "A joint that turns about z.")
      .def_static(
         "prismatic",
         [](ZqReal a, ZqReal alpha, ZqReal theta, const std::string& convention,
            const OptionalFrame& precursor, const OptionalFrame& primaryFrame)
         {
            return newDh(ZqDenavitHartenberg::Prismatic, convention, {a, alpha, 0.0, theta},
                         precursor, primaryFrame);
         },
         py::arg("a") = 0.0, py::arg("alpha") = 0.0, py::arg("theta") = 0.0,
         py::arg("convention") = "craig", py::arg("precursor") = py::none(),
         py::arg("primary_frame") = py::none(), "A joint that slides along z.")
      .def_static("screw", &newScrew, py::arg("pitch"), py::arg("precursor") = py::none(),
                  py::arg("primary_frame") = py::none(),
                  "A joint that slides along z and turns about it, `pitch` times (1/m).")
      .def_static("from_xml", &fromXml, py::arg("document"),
                  "A joint of any kind, from the text of `to_xml`.")
      .def(
         "to_xml", [](const Joint& self, bool defaults) { return documentOf(self, defaults); },
         py::arg("defaults") = true)
      .def("replace", &replaced, "A copy with other parameters, by their names.")
      .def_property_readonly("kind", &kindOf,
                             "'revolute', 'prismatic', 'screw', or the name in documents.")
      .def_property_readonly(
         "unit", [](const Joint& self) { return kinematicsOf(self).unitType() == 0 ? "m" : "rad"; },
         "Of the position: 'rad' or 'm'.")
      .def_property_readonly(
         "convention",
         [](const Joint& self) -> std::optional<std::string>
         {
            const ZqDenavitHartenberg* dh = dhOf(self);
            return dh != nullptr ? std::optional<std::string>(conventionOf(*dh)) : std::nullopt;
         },
         "'craig', 'paul' or 'general'; None for a joint without D-H parameters.")
      .def_property_readonly("precursor", &precursorOf,
                             "What stands before the joint: 4 x 4, or None.")
      .def_property_readonly(
         "primary_frame", [](const Joint& self) { return arrayOf(self.primaryFrame()); },
         "Of the link, in its D-H frame: 4 x 4.")
      .def_property_readonly(
         "pitch",
         [](const Joint& self) -> std::optional<ZqReal>
         {
            const ZqScrewTypeLink* screw = screwOf(self);
            return screw != nullptr ? std::optional(screw->pitch()) : std::nullopt;
         },
         "Turns per length of a screw (1/m), or None.")
      .def(
         "transform",
         [](const Joint& self, ZqReal q)
         { return arrayOf(kinematicsOf(self).transformAt(numberOf(py::float_(q), "q"))); },
         py::arg("q"), "The D-H frame of the link in that of its parent: 4 x 4.")
      .def(
         "__eq__", [](const Joint& self, const Joint& other) { return self == other; },
         py::is_operator())
      .def("__repr__", &textOf)
      .def(py::pickle([](const Joint& self) { return documentOf(self); }, &fromXml));
   for (const Parameter& parameter : parameters)
      joint.def_property_readonly(
         parameter.name,
         [&parameter](const Joint& self) -> std::optional<ZqReal>
         {
            const ZqDenavitHartenberg* dh = dhOf(self);
            return dh != nullptr ? std::optional(parameter.get(*dh)) : std::nullopt;
         },
         (std::string(parameter.documentation) + " None without D-H parameters.").c_str());
}
