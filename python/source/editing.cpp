#include "python/source/arrays.h"
#include "python/source/edits.h"
#include "zqManipulator/actuation/ZqPassThroughPowerConverter.h"
#include "zqManipulator/kinematics/manipulator/ZqIndividualManipulator.h"

#include <map>
#include <set>

namespace
{
using namespace zqPython;
using ScenePointer = std::shared_ptr<Scene>;
using Joint = ZqLinkKinematicsContainer;

ZqCoordinateSystemTransformation frameOr(const std::optional<Array>& frame)
{
   return frame ? frameOf(*frame, "frame") : ZqCoordinateSystemTransformation();
}

void requireOf(const ScenePointer& scene, const Manipulator& manipulator)
{
   if (manipulator.scene != scene)
      throw py::value_error("Expected a manipulator of this scene");
}

void requireNew(const Scene& scene, const ZqString& label)
{
   if (label.empty() || scene.stated().manipulatorByIdentifier(label) != nullptr)
      throw py::value_error("label: '" + label + "' is empty, or in use in the scene");
}

/// The manipulator that came last.
Manipulator newest(const ScenePointer& scene)
{
   return manipulatorAt(scene, -1);
}

// Manipulators of a scene.

Manipulator newManipulator(const ScenePointer& scene, const ZqString& label, const ZqString& base,
                           bool fixedBase)
{
   requireNew(*scene, label);
   ZqIndividualManipulator manipulator;
   manipulator.setManipulatorLabel(label);
   manipulator.setLinkLabel(base);
   manipulator.setIsFixedBase(fixedBase);
   scene->model().addManipulator(manipulator);
   return newest(scene);
}

Manipulator addCopy(const ScenePointer& scene, const Manipulator& other,
                    const std::optional<ZqString>& label)
{
   ZqIndividualManipulator copy = other.model().concreteReference();
   copy.setCoordSysXForm(other.model().coordSysXForm());
   copy.setManipulatorLabel(label.value_or(other.model().manipulatorLabel()));
   requireNew(*scene, copy.manipulatorLabel());
   const ZqPositionState position = other.position();
   const ZqVelocityState velocity = other.velocity();
   scene->model().addManipulator(copy, position, velocity);
   return newest(scene);
}

Manipulator addShape(const ScenePointer& scene, const ZqString& label,
                     const ZqShapeContainer& shape, const std::optional<Array>& frame,
                     const std::optional<ZqRigidBodyMassProperties>& mass)
{
   requireNew(*scene, label);
   const ZqCoordinateSystemTransformation place = frameOr(frame);
   const ZqShape& element = *shape.topElement();
   scene->model().addShapeAsManipulator(element, place, label, element.surfaces());
   const Manipulator manipulator = newest(scene);
   edit(manipulator, "add a shape",
        [&](ZqIndividualManipulator& model)
        {
           model.setIsFixedBase(!mass.has_value());
           if (mass)
              model.setBaseMassProperties(*mass);
           return true;
        });
   return manipulator;
}

void removeManipulator(const ScenePointer& scene, const Manipulator& manipulator)
{
   requireOf(scene, manipulator);
   const ZqU32 index = manipulator.index();
   performNow("remove a manipulator", [&] { return scene->model().removeManipulator(index); });
}

/// The other scene may be this one.
void append(const ScenePointer& scene, const Scene& other)
{
   const ZqStatedSystem copy = other.stated();
   performNow("append a scene", [&] { return scene->model().append(copy), true; });
}

void combine(const ScenePointer& scene, const Manipulator& manipulator, const Link& link,
             const std::optional<Array>& frame)
{
   requireOf(scene, manipulator);
   requireOf(scene, link.manipulator);
   const ZqU32 first = manipulator.index();
   const ZqU32 second = link.manipulator.index();
   const ZqString label = link.model().linkLabel();
   const ZqCoordinateSystemTransformation place = frameOr(frame);
   performNow("combine manipulators",
              [&] { return scene->model().combineManipulator(first, second, label, place); });
}

Manipulator separate(const ScenePointer& scene, const ZqString& label)
{
   ZqU32 parent = 0;
   ZqU32 child = 0;
   ZqCoordinateSystemTransformation place;
   performNow("separate manipulators",
              [&] { return scene->model().uncombineManipulator(label, parent, child, place); });
   return manipulatorAt(scene, static_cast<py::ssize_t>(child));
}

void attach(const ScenePointer& scene, const Manipulator& manipulator, const Link& link,
            const std::optional<Array>& frame, const ZqString& name)
{
   requireOf(scene, manipulator);
   requireOf(scene, link.manipulator);
   const ZqString carried = manipulator.model().manipulatorLabel();
   const ZqString carrier = link.manipulator.model().manipulatorLabel();
   const ZqString label = link.model().linkLabel();
   const ZqCoordinateSystemTransformation offset = frameOr(frame);
   performNow("attach a manipulator", [&]
              { return scene->model().attachManipulator(carried, carrier, label, offset, name); });
}

void detach(const ScenePointer& scene, const Manipulator& manipulator)
{
   requireOf(scene, manipulator);
   const ZqString label = manipulator.model().manipulatorLabel();
   performNow("detach a manipulator", [&] { return scene->model().detachManipulator(label); });
}

std::optional<Link> carrierOf(const Manipulator& manipulator)
{
   ZqU32 carrier = 0;
   ZqString link;
   ZqCoordinateSystemTransformation offset;
   if (!manipulator.scene->stated().configuration().attachmentMap().getDependentManipulatorInfo(
          manipulator.index(), carrier, link, offset))
      return std::nullopt;
   return linkOf(manipulatorAt(manipulator.scene, static_cast<py::ssize_t>(carrier)), link);
}

// Links of a manipulator.

ZqManipulatorLink& findIn(ZqIndividualManipulator& model, const Link& link)
{
   return *model.linkByIdentifier(*link.label);
}

void collectLabels(const ZqManipulatorLink& link, std::set<ZqString>& labels)
{
   labels.insert(link.linkLabel());
   for (const ZqManipulatorLink& child : link.childLinks())
      collectLabels(child, labels);
}

/// Labels of links that come must not be in use by those that stay.
void requireFree(const Manipulator& manipulator, const ZqManipulatorLink& coming,
                 const std::set<ZqString>& going = {})
{
   std::set<ZqString> labels;
   collectLabels(coming, labels);
   for (const ZqString& label : labels)
      if (label.empty() ||
          (manipulator.model().linkByIdentifier(label) != nullptr && !going.contains(label)))
         throw py::value_error("label: '" + label + "' is empty, or in use in the manipulator");
}

/// A copy of the link with all below it, as a link with a joint.
ZqManipulatorLink subtreeOf(const Link& link)
{
   if (link.index() == ZqBaseLinkIndex)
      throw py::value_error("The base '" + *link.label + "' has no joint: expected another link");
   return link.model();
}

Link addLink(const Link& parent, const ZqString& label, const Joint& joint,
             const std::optional<ZqRigidBodyMassProperties>& mass,
             const std::optional<ZqShapeContainer>& shape,
             const std::optional<ZqJointActuator>& drive)
{
   ZqManipulatorLink link;
   link.setLinkLabel(label);
   link.setLinkKinematics(*joint.topElement());
   if (mass)
      link.setMassProperties(*mass);
   if (shape)
      link.setShapeContainer(*shape);
   if (drive)
      link.setJointActuator(*drive);
   else
      link.setJointActuator(plainDrive());
   requireFree(parent.manipulator, link);
   edit(parent, "add a link", [&](ZqManipulatorLink& model) { model.addChild(link); });
   return linkOf(parent.manipulator, label);
}

Link addCopyOfLink(const Link& parent, const Link& other)
{
   const ZqManipulatorLink copy = subtreeOf(other);
   requireFree(parent.manipulator, copy);
   edit(parent, "add a link", [&](ZqManipulatorLink& model) { model.addChild(copy); });
   return linkOf(parent.manipulator, copy.linkLabel());
}

Link replaceLink(const Link& link, const Link& other)
{
   const ZqManipulatorLink copy = subtreeOf(other);
   std::set<ZqString> going;
   collectLabels(subtreeOf(link), going);
   requireFree(link.manipulator, copy, going);
   edit(link.manipulator, "replace a link",
        [&](ZqIndividualManipulator& model)
        { return model.replaceLinkAndChildren(*link.label, copy); });
   return linkOf(link.manipulator, copy.linkLabel());
}

void removeLink(const Link& link)
{
   subtreeOf(link);
   edit(link.manipulator, "remove a link",
        [&](ZqIndividualManipulator& model)
        {
           const ZqManipulatorLink& gone = findIn(model, link);
           ZqManipulatorLink& parent = *model.linkByIdentifier(gone.parentLink()->linkLabel());
           ZqManipulatorLink::ChildLinks rest;
           for (const ZqManipulatorLink& child : std::as_const(parent).childLinks())
              if (&child != &gone)
                 rest.pushBack(child);
           parent.setChildLinks(rest);
           return true;
        });
}

using LinkChange = ZqBoolean (ZqIndividualManipulator::*)(const ZqString&,
                                                          const ZqCoordinateSystemTransformation&);

/// An operation of the manipulator that takes a link and a frame.
template <LinkChange change>
void changeByFrame(const Link& link, const Array& array)
{
   const ZqCoordinateSystemTransformation frame = frameOf(array, "frame");
   link.model();
   edit(link.manipulator, "change frames",
        [&](ZqIndividualManipulator& model) { return (model.*change)(*link.label, frame); });
}

void setPrimaryFrame(const Link& link, const Array& array, bool contentsMove)
{
   const ZqCoordinateSystemTransformation frame = frameOf(array, "frame");
   subtreeOf(link);
   edit(link.manipulator, "change a primary frame",
        [&](ZqIndividualManipulator& model)
        {
           return contentsMove ? model.replaceLinkPrimaryFrame(*link.label, frame)
                               : model.transformPrimaryFrame(*link.label, frame);
        });
}

/// All labels of links change at once.
void relabel(const Manipulator& manipulator, const std::map<ZqString, ZqString>& newByOld)
{
   std::set<ZqString> labels;
   collectLabels(manipulator.model().concreteReference(), labels);
   std::set<ZqString> after;
   for (const ZqString& label : labels)
   {
      const auto changed = newByOld.find(label);
      if (const ZqString& text = changed != newByOld.end() ? changed->second : label;
          text.empty() || !after.insert(text).second)
         throw py::value_error("labels: '" + text + "' is empty, or would be there twice");
   }
   for (const auto& [old, text] : newByOld)
      if (!labels.contains(old))
         throw py::key_error("There is no link '" + old + "' in the manipulator '" +
                             *manipulator.label + "'");
   // By way of labels that nobody has, since new ones may be old ones of others.
   const ZqU32 index = manipulator.index();
   const auto change = [&](const ZqString& from, const ZqString& to)
   { return manipulator.scene->model().changeLinkLabel(index, from, to); };
   const auto between = [](const ZqString& label) { return "\x01" + label; };
   performNow("change labels",
              [&]
              {
                 return std::ranges::all_of(newByOld,
                                            [&](const auto& entry) {
                                               return change(entry.first, between(entry.first));
                                            }) &&
                        std::ranges::all_of(newByOld, [&](const auto& entry)
                                            { return change(between(entry.first), entry.second); });
              });
   manipulator.scene->linkLabels[manipulator.label].change(newByOld);
}

void scale(const Manipulator& manipulator, ZqReal factor)
{
   const ZqU32 index = manipulator.index();
   performNow("scale a manipulator",
              [&] { return manipulator.scene->model().resizeManipulator(index, factor); });
}

void bindLinks(LinkClass link)
{
   link
      .def("add_link", &addLink, py::arg("label"), py::arg("joint"), py::arg("mass") = py::none(),
           py::arg("shape") = py::none(), py::arg("drive") = py::none(),
           "Adds a link below this one, and answers it. Without a drive it has one that exerts "
           "what it "
           "is told, without limits.")
      .def("add_copy", &addCopyOfLink, py::arg("other"),
           "Adds a copy of a link, of any scene, with all below it, and answers it.")
      .def("replace", &replaceLink, py::arg("other"),
           "Replaces the link and all below it by a copy of another one, with all below that.")
      .def("remove", &removeLink, "Removes the link and all below it.")
      .def("move", &changeByFrame<&ZqIndividualManipulator::transformLinkSubtreeBy>,
           py::arg("frame"),
           "Moves the link and all below it with respect to its parent: what was at x in the D-H "
           "frame "
           "of that comes to frame x.")
      .def(
         "move_contents",
         [](const Link& self, const Array& array)
         {
            const ZqCoordinateSystemTransformation frame = frameOf(array, "frame");
            self.model();
            edit(self.manipulator, "move contents",
                 [&](ZqIndividualManipulator& model)
                 { return model.transformLinkComponentsBy(*self.label, frame); });
         },
         py::arg("frame"), "Moves mass, shape, points and frames of the link in its primary frame.")
      .def("set_primary_frame", &setPrimaryFrame, py::arg("frame"),
           py::arg("contents_move") = false,
           "Changes the primary frame, which is told in the D-H frame. Mass, shape and points are "
           "told "
           "anew, so that nothing moves, unless `contents_move`.");
}
} // namespace

ZqJointActuator zqPython::plainDrive()
{
   ZqJointActuator drive;
   drive.setMechanicalComponent(ZqMechanicalActuatorComponent());
   drive.setPowerConverter(ZqPassThroughPowerConverter());
   return drive;
}

void zqPython::bindEditing(py::module_& module)
{
   sceneClass(module)
      .def("new_manipulator", &newManipulator, py::arg("label"), py::arg("base") = "base",
           py::arg("fixed_base") = true, "Adds a manipulator that is a base alone, and answers it.")
      .def("add", &addCopy, py::arg("manipulator"), py::arg("label") = py::none(),
           "Adds a copy of a manipulator, of any scene, in its state, and answers it.")
      .def("add_shape", &addShape, py::arg("label"), py::arg("shape"),
           py::arg("frame") = py::none(), py::arg("mass") = py::none(),
           "Adds a body of a shape as a manipulator, and answers it. With a mass it is free.")
      .def("remove", &removeManipulator, py::arg("manipulator"))
      .def(
         "__delitem__",
         [](const ScenePointer& self, const ZqString& label)
         { removeManipulator(self, manipulatorOf(self, label)); },
         py::arg("label"))
      .def("append", &append, py::arg("other"),
           "Adds copies of all manipulators of another scene, with all that acts between them.")
      .def(
         "combine", &combine, py::arg("manipulator"), py::arg("link"),
         py::arg("frame") = py::none(),
         "Makes a manipulator a part of another one: its base becomes a part of the link, in whose "
         "primary frame that of the base stands at the frame. The manipulator is gone then.")
      .def("separate", &separate, py::arg("label"),
           "Takes a manipulator that was combined off again, and answers it.")
      .def("attach", &attach, py::arg("manipulator"), py::arg("link"),
           py::arg("frame") = py::none(), py::arg("name") = "",
           "Hangs a manipulator on a link of another one, in whose primary frame it stands at the "
           "frame.")
      .def("detach", &detach, py::arg("manipulator"),
           "Takes it off its carrier; it stays where it is.");
   manipulatorClass(module)
      .def_property_readonly("carrier", &carrierOf,
                             "The link that the manipulator is attached to, or None.")
      .def("relabel", &relabel, py::arg("labels"),
           "Labels links anew, by their old labels, all at once.")
      .def("scale", &scale, py::arg("factor"),
           "Makes the manipulator a greater or smaller one of the same kind, at the same density.");
   bindLinks(linkClass(module));
}
