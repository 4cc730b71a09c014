#include "python/source/arrays.h"
#include "python/source/documents.h"
#include "python/source/edits.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"

#include <map>

namespace
{
using namespace zqPython;
using Joint = ZqLinkKinematicsContainer;
using Mass = ZqRigidBodyMassProperties;
using Arrays = std::map<std::string, Array>;

void setLabel(const Link& link, const ZqString& label)
{
   const ZqU32 index = link.manipulator.index();
   const ZqString old = link.model().linkLabel();
   Scene& scene = *link.manipulator.scene;
   if (label == old)
      return;
   if (label.empty() || !scene.model().changeLinkLabel(index, old, label))
      throw py::value_error("label: '" + label + "' is empty, or in use in the manipulator");
   scene.linkLabels[link.manipulator.label].change({{old, label}});
}

void setLabel(const Manipulator& manipulator, const ZqString& label)
{
   manipulator.index(); // one that is gone
   const ZqString old = *manipulator.label;
   if (label == old)
      return;
   if (label.empty() || !manipulator.scene->model().changeManipulatorLabel(old, label))
      throw py::value_error("label: '" + label + "' is empty, or in use in the scene");
   manipulator.scene->labels.change({{old, label}});
}

std::optional<Link> parentOf(const Link& link)
{
   const ZqManipulatorLink* parent = link.model().parentLink();
   return parent != nullptr ? std::optional(linkOf(link.manipulator, parent->linkLabel()))
                            : std::nullopt;
}

std::vector<Link> childrenOf(const Link& link)
{
   std::vector<Link> children;
   for (const ZqManipulatorLink& child : link.model().childLinks())
      children.push_back(linkOf(link.manipulator, child.linkLabel()));
   return children;
}

std::optional<py::ssize_t> indexOf(const Link& link)
{
   const ZqU32 index = link.index();
   return index == ZqBaseLinkIndex ? std::nullopt : std::optional(static_cast<py::ssize_t>(index));
}

// Joint, limits and drive.

std::optional<Joint> jointOf(const Link& link)
{
   const Joint& joint = link.model().linkKinematicsContainer();
   return joint.topElement() != nullptr ? std::optional(joint) : std::nullopt;
}

void setJoint(const Link& link, const Joint& joint)
{
   if (!jointOf(link))
      throw py::value_error("The base '" + *link.label + "' has no joint");
   edit(link.manipulator, "replace a joint",
        [&](ZqIndividualManipulator& model)
        { return model.replaceLinkKinematics(*link.label, *joint.topElement()); });
}

std::pair<ZqReal, ZqReal> limitsOf(const Link& link)
{
   const ZqJointActuator& drive = link.model().jointActuator();
   return {orInfinite(drive.lowerLimit()), orInfinite(drive.upperLimit())};
}

void setLimits(const Link& link, const std::pair<ZqReal, ZqReal>& limits)
{
   const ZqReal lower = boundOf(limits.first, "limits");
   const ZqReal upper = boundOf(limits.second, "limits");
   if (!(lower <= upper))
      throw py::value_error("limits: the lower one is above the upper one");
   ZqJointActuator drive = link.model().jointActuator();
   if (drive.mechanicalComponentContainer().topElement() == nullptr)
      drive.setMechanicalComponent(ZqMechanicalActuatorComponent());
   drive.setLowerLimit(lower);
   drive.setUpperLimit(upper);
   edit(link, "set limits", [&](ZqManipulatorLink& model) { model.setJointActuator(drive); });
}

/// A column of limits of all joints.
Array limitsOfJoints(const Manipulator& manipulator)
{
   const auto& links = manipulator.model().linkPointerVector();
   std::vector<ZqReal> numbers;
   for (const ZqManipulatorLink* link : links)
   {
      numbers.push_back(orInfinite(link->jointActuator().lowerLimit()));
      numbers.push_back(orInfinite(link->jointActuator().upperLimit()));
   }
   return readOnly(numbers, {static_cast<py::ssize_t>(links.size()), 2});
}

// Points and frames.

Arrays pointsOf(const Link& link)
{
   Arrays points;
   for (const auto& [name, point] : link.model().namedPoints().mapContainer())
      points.emplace(name, arrayOf(point));
   return points;
}

void setPoints(const Link& link, const Arrays& arrays)
{
   ZqManipulatorLink::NamedPoints points;
   for (const auto& [name, array] : arrays)
      points.mapContainer()[name] = vectorOf(array, name.c_str());
   edit(link, "set points", [&](ZqManipulatorLink& model) { model.setNamedPoints(points); });
}

Arrays namedFramesOf(const Link& link)
{
   Arrays frames;
   for (const auto& [name, frame] : link.model().namedFrames().mapContainer())
      frames.emplace(name, arrayOf(frame));
   return frames;
}

void setFrames(const Link& link, const Arrays& arrays)
{
   ZqManipulatorLink::NamedFrames frames;
   for (const auto& [name, array] : arrays)
      frames.mapContainer()[name] = frameOf(array, name.c_str());
   edit(link, "set frames", [&](ZqManipulatorLink& model) { model.setNamedFrames(frames); });
}

void setShape(const Link& link, const std::optional<ZqShapeContainer>& shape)
{
   edit(link, "set a shape",
        [&](ZqManipulatorLink& model)
        { model.setShapeContainer(shape.value_or(ZqShapeContainer())); });
}

void bindLink(LinkClass link)
{
   link
      .def_property(
         "label", [](const Link& self) { return self.model().linkLabel(); },
         [](const Link& self, const ZqString& label) { setLabel(self, label); },
         "Unique in the manipulator. Views of the link follow a change.")
      .def_property_readonly("index", &indexOf, "That of the joint in `q`; None for the base.")
      .def_property_readonly("parent", &parentOf,
                             "The link that carries this one; None for the base.")
      .def_property_readonly("children", &childrenOf, "The links that this one carries.")
      .def_property(
         "joint", &jointOf, &setJoint,
         "The joint, with the primary frame; None for the base. A new one takes the place of "
         "the old one as a whole.")
      .def_property(
         "limits", &limitsOf, &setLimits,
         "The least and the greatest position of the joint (rad, or m), infinite for none.")
      .def_property(
         "drive", [](const Link& self) { return self.model().jointActuator(); },
         [](const Link& self, const ZqJointActuator& drive) {
            edit(self, "set a drive",
                 [&](ZqManipulatorLink& model) { model.setJointActuator(drive); });
         },
         "What drives the joint, with its limits.")
      .def_property(
         "mass", [](const Link& self) { return self.model().baseMassProperties(); },
         [](const Link& self, const Mass& mass) {
            edit(self, "set a mass",
                 [&](ZqManipulatorLink& model) { model.setBaseMassProperties(mass); });
         },
         "Of the bare link, in its primary frame.")
      .def_property(
         "added_masses",
         [](const Link& self) { return self.model().massPropertiesMap().mapContainer(); },
         [](const Link& self, const std::map<std::string, Mass>& masses)
         {
            ZqManipulatorLink::MassPropertiesMap map;
            map.mapContainer() = masses;
            edit(self, "set masses",
                 [&](ZqManipulatorLink& model) { model.setMassPropertiesMap(map); });
         },
         "Further masses by name, in the primary frame: a copy, to be set as a whole.")
      .def_property_readonly(
         "total_mass", [](const Link& self) { return Mass(self.model().massProperties()); },
         "`mass` with all `added_masses`.")
      .def_property(
         "shape",
         [](const Link& self)
         {
            const ZqShapeContainer& shape = self.model().shapeContainer();
            return shape.topElement() != nullptr ? std::optional(shape) : std::nullopt;
         },
         &setShape, "In the primary frame; None for no body.")
      .def_property(
         "points", &pointsOf, &setPoints,
         "Points by name, 3 numbers each, in the primary frame (m): a copy, to be set as a whole.")
      .def_property(
         "named_frames", &namedFramesOf, &setFrames,
         "Frames by name, 4 x 4 each, in the primary frame: a copy, to be set as a whole.");
}

void bindManipulator(ManipulatorClass manipulator)
{
   manipulator
      .def_property(
         "label", [](const Manipulator& self) { return self.model().manipulatorLabel(); },
         [](const Manipulator& self, const ZqString& label) { setLabel(self, label); },
         "Unique in the scene. Views of the manipulator follow a change.")
      .def_property(
         "fixed_base", [](const Manipulator& self) { return self.model().isFixedBase(); },
         [](const Manipulator& self, bool fixed)
         {
            edit(self, "fix a base",
                 [&](ZqIndividualManipulator& model) { return model.setIsFixedBase(fixed), true; });
         },
         "Whether the base stays where it is; a free one has six degrees of freedom.")
      .def_property_readonly(
         "dof", [](const Manipulator& self) { return self.model().totalDof(); },
         "Degrees of freedom: N = n, or n + 6 with a free base.")
      .def_property(
         "placement", [](const Manipulator& self) { return arrayOf(self.model().coordSysXForm()); },
         [](const Manipulator& self, const Array& array)
         {
            const ZqCoordinateSystemTransformation frame = frameOf(array, "placement");
            edit(self, "place a manipulator",
                 [&](ZqIndividualManipulator& model)
                 { return model.setCoordSysXForm(frame), true; });
         },
         "The frame in the system in which the state tells that of the base: 4 x 4.")
      .def_property_readonly("limits", &limitsOfJoints,
                             "`limits` of all joints: n x 2. A copy that cannot be written.");
}

void bindConstraints(const py::module_& module)
{
   using Container = std::shared_ptr<ZqBaseStateEqualityConstraint>;
   py::class_<ZqBaseStateEqualityConstraint, Container>(
      module, "Constraint",
      "A relation between joints that forward dynamics holds: a copy, to be read.")
      .def_property_readonly(
         "kind",
         [](const ZqBaseStateEqualityConstraint& self)
         { return std::string(self.token().localName()); },
         "The name in documents.")
      .def_property_readonly("rows", &ZqBaseStateEqualityConstraint::doc,
                             "How many freedoms it takes.")
      .def("to_xml", [](const ZqBaseStateEqualityConstraint& self) { return documentOf(self); })
      .def("__repr__", [](const ZqBaseStateEqualityConstraint& self)
           { return "<Constraint " + std::string(self.token().localName()) + ">"; });
   manipulatorClass(module).def_property_readonly(
      "constraints",
      [](const Manipulator& self)
      {
         std::vector<Container> constraints;
         for (const auto* constraint : self.model().stateEqualityConstraints().vectorContainer())
            if (constraint != nullptr)
               constraints.emplace_back(
                  static_cast<ZqBaseStateEqualityConstraint*>(constraint->clone()));
         return constraints;
      },
      "The relations between joints that forward dynamics holds.");
}
} // namespace

void zqPython::bindModel(py::module_& module)
{
   bindLink(linkClass(module));
   bindManipulator(manipulatorClass(module));
   bindConstraints(module);
}
