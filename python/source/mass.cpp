#include "python/source/arrays.h"
#include "python/source/documents.h"
#include "python/source/edits.h"
#include "zqManipulator/actuation/ZqJointActuator.h"
#include "zqManipulator/dynamics/bodies/ZqExactSolid.h"
#include "zqManipulator/foundation/geometry/ZqShapeContainer.h"

#include <array>
#include <cmath>

namespace
{
using namespace zqPython;
using Mass = ZqRigidBodyMassProperties;
using Drive = ZqJointActuator;

// Masses.

ZqVector centerOf(const Mass& mass)
{
   ZqVector center;
   mass.getCenterOfMass(center);
   return center;
}

/// The second moment of a mass at a place about the origin.
ZqSecondMoment momentOf(ZqReal m, const ZqVector& c)
{
   const ZqReal r2 = c.magSquared();
   return {m * (r2 - c.x() * c.x()), m * (r2 - c.y() * c.y()), m * (r2 - c.z() * c.z()),
           -m * c.x() * c.y(),       -m * c.x() * c.z(),       -m * c.y() * c.z()};
}

Array arrayOf(const ZqSecondMoment& I)
{
   return copyOf(std::array{I.xx(), I.xy(), I.xz(), I.xy(), I.yy(), I.yz(), I.xz(), I.yz(), I.zz()},
                 {3, 3});
}

Mass newMass(ZqReal mass, const std::optional<Array>& center, const std::optional<Array>& inertia)
{
   if (!(mass >= 0.0) || !std::isfinite(mass))
      throw py::value_error("mass: expected a finite number that is not below zero");
   const ZqVector c = center ? vectorOf(*center, "center") : ZqVector();
   ZqSecondMoment I;
   if (inertia)
   {
      const std::span n = matrixOf(*inertia, "inertia", 3, 3);
      const ZqReal allowed = 1e-9 * (std::abs(n[0]) + std::abs(n[4]) + std::abs(n[8]));
      for (const auto& [i, j] : {std::pair{1, 3}, std::pair{2, 6}, std::pair{5, 7}})
         if (!(std::abs(n[static_cast<std::size_t>(i)] - n[static_cast<std::size_t>(j)]) <=
               allowed))
            throw py::value_error("inertia: expected a symmetric matrix");
      I = {n[0], n[4], n[8], n[1], n[2], n[5]};
   }
   Mass result;
   result.set(mass, c * mass, I + momentOf(mass, c), false);
   if (!result.isPossible())
      throw py::value_error("inertia: no body has these moments of inertia");
   return result;
}

Mass massOfShape(const ZqShapeContainer& shape, std::optional<ZqReal> mass,
                 std::optional<ZqReal> density)
{
   const ZqExactSolid solid(shape.topElement());
   if (!solid.isSolid())
      throw py::value_error("shape: it is no solid");
   const ZqReal number = mass ? *mass : density.value_or(0.0);
   if (mass.has_value() == density.has_value() || !(number > 0.0) || !std::isfinite(number))
      throw py::value_error("Expected either a mass or a density, a finite number above zero");
   return mass ? solid.ofMass(number) : solid.ofDensity(number);
}

void bindMassProperties(const py::module_& module)
{
   py::class_<Mass>(module, "MassProperties",
                    "The mass of a rigid body in the primary frame of its link, as a value.")
      .def(py::init(&newMass), py::arg("mass"), py::arg("center") = py::none(),
           py::arg("inertia") = py::none(),
           "A mass (kg), its center (m, 3 numbers), and the inertia about the center in the axes "
           "of the "
           "primary frame (kg m^2, 3 x 3), with products of inertia as they stand in the matrix.")
      .def_static("of_shape", &massOfShape, py::arg("shape"), py::arg("mass") = py::none(),
                  py::arg("density") = py::none(),
                  "The body that fills a shape, of a mass (kg) or of a density (kg/m^3).")
      .def_property_readonly(
         "mass", [](const Mass& self) -> ZqReal { return self.mass(); }, "In kg.")
      .def_property_readonly(
         "center", [](const Mass& self) { return zqPython::arrayOf(centerOf(self)); },
         "The center of mass (m): 3 numbers.")
      .def_property_readonly(
         "inertia",
         [](const Mass& self)
         { return arrayOf(self.secondMoment() - momentOf(self.mass(), centerOf(self))); },
         "About the center of mass (kg m^2): 3 x 3.")
      .def_property_readonly(
         "inertia_at_origin", [](const Mass& self) { return arrayOf(self.secondMoment()); },
         "About the origin of the primary frame (kg m^2): 3 x 3.")
      .def(
         "transformed",
         [](const Mass& self, const Array& frame)
         {
            Mass result = self;
            result.transformBy(frameOf(frame, "frame"));
            return result;
         },
         py::arg("frame"), "The body moved by a frame.")
      .def(
         "__add__", [](const Mass& self, const Mass& other) { return self + other; },
         py::is_operator())
      .def(
         "__eq__", [](const Mass& self, const Mass& other) { return self == other; },
         py::is_operator())
      .def("__repr__",
           [](const Mass& self)
           {
              return "<MassProperties of " +
                     py::repr(py::float_(ZqReal(self.mass()))).cast<std::string>() + " kg>";
           })
      .def(documentPickle<Mass>());
}

// Drives.

const ZqMechanicalActuatorComponent& trainOf(const Drive& drive)
{
   static const ZqMechanicalActuatorComponent none;
   const ZqMechanicalActuatorComponent* train = drive.mechanicalComponentContainer().topElement();
   return train != nullptr ? *train : none;
}

/// A parameter of drives by its name.
struct Parameter
{
   const char* name;
   const char* documentation;
   ZqReal (*get)(const Drive&);
   void (*set)(Drive&, ZqReal);
};
template <auto get>
ZqReal ofTrain(const Drive& drive)
{
   return (trainOf(drive).*get)();
}
template <auto set>
void setOfTrain(Drive& drive, ZqReal value)
{
   (drive.mechanicalComponentContainer().topElement()->*set)(value);
}
using Train = ZqMechanicalActuatorComponent;
constexpr std::array parameters{
   Parameter{"lower_limit", "The least position of the joint (rad, or m); -inf for none.",
             &ofTrain<&Train::lowerLimit>, &setOfTrain<&Train::setLowerLimit>},
   Parameter{"upper_limit", "The greatest position of the joint (rad, or m); inf for none.",
             &ofTrain<&Train::upperLimit>, &setOfTrain<&Train::setUpperLimit>},
   Parameter{"max_rate", "The greatest velocity of the joint (rad/s, or m/s); inf for none.",
             &ofTrain<&Train::maxOutputRate>, &setOfTrain<&Train::setMaxOutputRate>},
   Parameter{"min_torque", "The least torque at the motor (N m, or N); -inf for none.",
             [](const Drive& drive) { return drive.minTorque(); },
             [](Drive& drive, ZqReal value) { drive.setMinTorque(value); }},
   Parameter{"max_torque", "The greatest torque at the motor (N m, or N); inf for none.",
             [](const Drive& drive) { return drive.maxTorque(); },
             [](Drive& drive, ZqReal value) { drive.setMaxTorque(value); }},
   Parameter{"gear_ratio", "Position of the motor per position of the joint.",
             &ofTrain<&Train::gearRatio>, &setOfTrain<&Train::setGearRatio>},
   Parameter{"inertia", "Of rotor and gear, at the motor (kg m^2).", &ofTrain<&Train::inertia>,
             &setOfTrain<&Train::setInertia>},
   Parameter{"viscous_friction", "At the motor (N m s/rad).", &ofTrain<&Train::frictionCoefficient>,
             &setOfTrain<&Train::setFrictionCoefficient>},
   Parameter{"static_friction", "At which the motor breaks away (N m).",
             &ofTrain<&Train::staticCoulombFriction>,
             &setOfTrain<&Train::setStaticCoulombFriction>},
   Parameter{"kinetic_friction", "Sliding over static friction, up to 1.",
             &ofTrain<&Train::kineticCoulombFrictionPercentage>,
             &setOfTrain<&Train::setKineticCoulombFrictionPercentage>},
   Parameter{"efficiency", "Of the gear, up to 1.", &ofTrain<&Train::maxEfficiency>,
             &setOfTrain<&Train::setMaxEfficiency>},
   Parameter{"stiffness", "Of a flexible shaft, at the joint (N m/rad).",
             &ofTrain<&Train::jointFlexibilityStiffness>,
             &setOfTrain<&Train::setJointFlexibilityStiffness>},
   Parameter{"damping", "Of a flexible shaft, at the joint (N m s/rad).",
             &ofTrain<&Train::jointFlexibilityDamping>,
             &setOfTrain<&Train::setJointFlexibilityDamping>},
   Parameter{"backlash", "Of a flexible shaft, at the motor (rad).", &ofTrain<&Train::backlash>,
             &setOfTrain<&Train::setBacklash>}};

Drive replaced(const Drive& drive, const py::kwargs& changes)
{
   Drive result = drive;
   if (result.mechanicalComponentContainer().topElement() == nullptr)
      result.setMechanicalComponent(ZqMechanicalActuatorComponent());
   for (const auto& [key, value] : changes)
   {
      const auto name = key.cast<std::string>();
      if (name == "rigid")
      {
         result.setIsRigid(value.cast<bool>());
         continue;
      }
      const auto* parameter =
         std::ranges::find_if(parameters, [&](const Parameter& one) { return one.name == name; });
      if (parameter == parameters.end())
         throw py::type_error("A drive has no parameter '" + name + "'");
      parameter->set(result, boundOf(value.cast<ZqReal>(), name.c_str()));
   }
   return result;
}

Drive newDrive(const py::kwargs& values)
{
   return replaced(plainDrive(), values);
}

void bindDrive(const py::module_& module)
{
   py::class_<Drive> drive(
      module, "Drive",
      "The drive of a joint, as a value: nothing of it is set but by `replace`.\n\n"
      "It has no limits, no inertia and no friction unless it is told, and its command is its "
      "torque. "
      "Units are those of joints that turn; of those that slide they are N, kg and m.");
   drive.def(py::init(&newDrive), "A drive with parameters by their names.")
      .def("replace", &replaced, "A copy with other parameters, by their names.")
      .def_property_readonly(
         "rigid", [](const Drive& self) { return self.isRigid(); },
         "Whether the shaft does not bend.")
      .def_property_readonly(
         "converter",
         [](const Drive& self) -> std::optional<std::string>
         {
            const ZqBasePowerConverter* converter = self.powerConverterContainer().topElement();
            return converter != nullptr ? std::optional(std::string(converter->token().localName()))
                                        : std::nullopt;
         },
         "What makes the torque, by its name in documents; None for no drive.")
      .def_static("from_xml", &objectOf<Drive>, py::arg("document"))
      .def(
         "to_xml", [](const Drive& self, bool defaults) { return documentOf(self, defaults); },
         py::arg("defaults") = true)
      .def(
         "__eq__", [](const Drive& self, const Drive& other) { return self == other; },
         py::is_operator())
      .def("__repr__",
           [](const Drive& self)
           {
              std::string text = "<Drive";
              const Drive plain;
              for (const Parameter& parameter : parameters)
                 if (parameter.get(self) != parameter.get(plain))
                    text += std::string(" ") + parameter.name + "=" +
                            py::repr(py::float_(parameter.get(self))).cast<std::string>();
              return text + ">";
           })
      .def(documentPickle<Drive>());
   for (const Parameter& parameter : parameters)
      drive.def_property_readonly(
         parameter.name,
         [&parameter](const Drive& self) { return orInfinite(parameter.get(self)); },
         parameter.documentation);
}
} // namespace

void zqPython::bindMass(py::module_& module)
{
   bindMassProperties(module);
   bindDrive(module);
}
