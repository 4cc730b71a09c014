#include "python/source/scene.h"

#include "python/source/arrays.h"
#include "python/source/failures.h"
#include "zqManipulator/foundation/xml/ZqXmlDocument.h"
#include "zqManipulator/kinematics/system/ZqStatedSystemStruct.h"

#include <utility>

namespace
{
using namespace zqPython;

/// An index of Python, which counts from the end when it is negative.
ZqU32 indexIn(py::ssize_t count, py::ssize_t index, const char* what)
{
   const py::ssize_t place = index < 0 ? index + count : index;
   if (place < 0 || place >= count)
      throw py::index_error(std::string(what) + ": there are " + std::to_string(count) +
                            ", but the index is " + std::to_string(index));
   return static_cast<ZqU32>(place);
}

ZqU32 countOf(const Scene& scene)
{
   return scene.stated().numberOfManipulators();
}

bool hasManipulator(const Scene& scene, const ZqString& label)
{
   return scene.stated().manipulatorByIdentifier(label) != nullptr;
}

bool hasLink(const Manipulator& manipulator, const ZqString& label)
{
   return manipulator.model().linkByIdentifier(label) != nullptr;
}

Link linkWith(const Manipulator& manipulator, const ZqString& label)
{
   return {manipulator, manipulator.scene->linkLabels[manipulator.label].of(label)};
}

bool hasAttachments(const ZqStatedSystem& scene)
{
   const ZqStatedSystemStruct context(&scene, 0);
   return ZqManipulatorLink::hasAttachments(&context);
}

std::shared_ptr<Scene> fromXml(const std::string& document)
{
   const auto scene = std::make_shared<Scene>();
   perform("read a document", [&] { return Zq::fromXml(scene->model(), document); });
   return scene;
}

void save(const Scene& scene, const ZqString& path, bool defaults)
{
   if (path.ends_with(".urdf"))
      throw py::value_error("save: URDF is written by `save_urdf` of a manipulator");
   ZqStatedSystem copy = scene.stated();
   perform("save " + path, [&] { return copy.keepCombinations(), Zq::save(copy, path, defaults); });
}

ZqString toXml(const Scene& scene, bool defaults)
{
   ZqStatedSystem copy = scene.stated();
   ZqString document;
   perform("write a document",
           [&] { return copy.keepCombinations(), Zq::toXml(copy, document, defaults); });
   return document;
}

ZqString pathOf(const py::object& path)
{
   return py::module_::import("os").attr("fspath")(path).cast<ZqString>();
}

std::vector<Manipulator> manipulatorsOf(const std::shared_ptr<Scene>& scene)
{
   std::vector<Manipulator> list;
   for (ZqU32 i = 0; i < countOf(*scene); ++i)
      list.push_back(manipulatorAt(scene, i));
   return list;
}

std::vector<Link> linksOf(const Manipulator& manipulator)
{
   std::vector<Link> list;
   for (const ZqManipulatorLink* link : manipulator.model().concreteReference().linkPointerVector())
      list.push_back(linkWith(manipulator, link->linkLabel()));
   return list;
}
} // namespace

zqPython::Labels::Label zqPython::Labels::of(const ZqString& text)
{
   std::weak_ptr<ZqString>& known = m_labels[text];
   std::shared_ptr<ZqString> label = known.lock();
   if (!label)
      known = label = std::make_shared<ZqString>(text);
   return label;
}

void zqPython::Labels::change(const std::map<ZqString, ZqString>& newByOld)
{
   std::map<ZqString, std::weak_ptr<ZqString>> changed;
   for (auto& [text, known] : m_labels)
      if (const std::shared_ptr<ZqString> label = known.lock())
      {
         if (const auto found = newByOld.find(text); found != newByOld.end())
            *label = found->second;
         changed[*label] = label;
      }
   m_labels = std::move(changed);
}

void zqPython::Scene::changeState(const std::function<void(ZqManipulatorSystemState&)>& change)
{
   ZqManipulatorSystemState state = m_stated.state();
   change(state);
   m_stated.setState(state);
   if (hasAttachments(m_stated))
      m_stated.placeAttachedManipulators();
   m_stateChanged = true;
}

ZqSystemActiveState& zqPython::Scene::active()
{
   if (m_modelChanged)
      m_active = ZqSystemActiveState();
   if (m_modelChanged || m_stateChanged)
   {
      m_active.setNonredundantState(m_stated.state());
      // Masses that are attached to a link move with the joints of another manipulator.
      if (hasAttachments(m_stated))
         m_active.invalidateAll();
      for (ZqU32 i = 0; i < countOf(*this); ++i)
         m_stated.manipulatorByIndex(i)->placeBase(
            m_active.manipulatorActiveStateVector()[i].activePositionState());
   }
   m_modelChanged = m_stateChanged = false;
   return m_active;
}

void zqPython::failForGone(const std::string& text)
{
   PyErr_SetString(PyExc_ReferenceError, text.c_str());
   throw py::error_already_set();
}

ZqU32 zqPython::Manipulator::index() const
{
   ZqU32 index = 0;
   if (!scene->stated().lookupManipulatorIndexFromLabel(*label, index))
      failForGone("The manipulator '" + *label + "' is not in its scene any more");
   return index;
}

const ZqIndividualManipulator& zqPython::Manipulator::model() const
{
   return *scene->stated().manipulatorByIndex(index());
}

const ZqPositionState& zqPython::Manipulator::position() const
{
   return scene->stated().state().positionStates()[index()];
}

const ZqVelocityState& zqPython::Manipulator::velocity() const
{
   return scene->stated().state().velocityStates()[index()];
}

ZqStatedSystemStruct zqPython::Manipulator::context() const
{
   return {&scene->stated(), index()};
}

const ZqManipulatorLink& zqPython::Link::model() const
{
   const ZqManipulatorLink* link = manipulator.model().linkByIdentifier(*label);
   if (link == nullptr)
      failForGone("The link '" + *label + "' is not in the manipulator '" + *manipulator.label +
                  "' any more");
   return *link;
}

zqPython::Manipulator zqPython::manipulatorAt(const std::shared_ptr<Scene>& scene,
                                              py::ssize_t index)
{
   const ZqU32 place = indexIn(countOf(*scene), index, "manipulators");
   return manipulatorOf(scene, scene->stated().manipulatorByIndex(place)->manipulatorLabel());
}

zqPython::Manipulator zqPython::manipulatorOf(const std::shared_ptr<Scene>& scene,
                                              const ZqString& label)
{
   if (!hasManipulator(*scene, label))
      throw py::key_error("There is no manipulator '" + label + "' in the scene");
   return {scene, scene->labels.of(label)};
}

zqPython::Link zqPython::linkAt(const Manipulator& manipulator, py::ssize_t index)
{
   const ZqIndividualManipulator& model = manipulator.model();
   const ZqU32 place = indexIn(model.jointDof(), index, "links");
   return linkWith(manipulator, model.linkByIndex(place)->linkLabel());
}

zqPython::Link zqPython::linkOf(const Manipulator& manipulator, const ZqString& label)
{
   if (!hasLink(manipulator, label))
      throw py::key_error("There is no link '" + label + "' in the manipulator '" +
                          *manipulator.label + "'");
   return linkWith(manipulator, label);
}

zqPython::Link zqPython::baseOf(const Manipulator& manipulator)
{
   return linkWith(manipulator, manipulator.model().linkByIndex(ZqBaseLinkIndex)->linkLabel());
}

zqPython::SceneClass zqPython::sceneClass(const py::module_& module)
{
   return SceneClass(module.attr("Scene"));
}

zqPython::ManipulatorClass zqPython::manipulatorClass(const py::module_& module)
{
   return ManipulatorClass(module.attr("Manipulator"));
}

zqPython::LinkClass zqPython::linkClass(const py::module_& module)
{
   return LinkClass(module.attr("Link"));
}

void zqPython::bindScene(py::module_& module)
{
   SceneClass scene(module, "Scene",
                    "A system of manipulators with its state: what a document holds.\n\n"
                    "Its manipulators are found by index or by label, and are views: they show "
                    "the scene as it is, and keep it alive.");
   ManipulatorClass manipulator(module, "Manipulator",
                                "A manipulator of a scene: a tree of links on a base.\n\n"
                                "Link i has joint i. Arrays of joints are in this order.");
   LinkClass link(module, "Link", "A link of a manipulator, with the joint that moves it.");

   scene.def(py::init<>(), "An empty scene.")
      .def_static("from_xml", &fromXml, py::arg("document"),
                  "Reads a scene from the text of a document.")
      .def("to_xml", &toXml, py::arg("defaults") = true,
           "The text of the document; without `defaults`, what equals its default is left out.")
      .def(
         "save",
         [](const Scene& self, const py::object& path, bool defaults)
         { save(self, pathOf(path), defaults); },
         py::arg("path"), py::arg("defaults") = true,
         "Writes the document. The file is the old one or the new one, whatever fails.")
      .def_property_readonly("manipulators", &manipulatorsOf)
      .def("__getitem__", &manipulatorAt, py::arg("index"))
      .def("__getitem__", &manipulatorOf, py::arg("label"))
      .def("__contains__", &hasManipulator, py::arg("label"))
      .def("__len__", &countOf)
      .def("__iter__", [](const std::shared_ptr<Scene>& self)
           { return py::iter(py::cast(manipulatorsOf(self))); })
      .def("__copy__", [](const Scene& self) { return std::make_shared<Scene>(self); })
      .def(
         "__deepcopy__",
         [](const Scene& self, const py::dict&) { return std::make_shared<Scene>(self); },
         py::arg("memo"))
      .def(py::pickle([](const Scene& self) { return toXml(self, true); }, &fromXml))
      .def(
         "__eq__",
         [](const Scene& self, const Scene& other) { return self.stated() == other.stated(); },
         py::is_operator())
      .def("__repr__",
           [](const Scene& self)
           {
              std::string text = "<Scene of";
              for (ZqU32 i = 0; i < countOf(self); ++i)
                 text +=
                    (i > 0 ? ", " : " ") + self.stated().manipulatorByIndex(i)->manipulatorLabel();
              return text + (countOf(self) > 0 ? ">" : " no manipulators>");
           });

   manipulator.def_property_readonly("scene", [](const Manipulator& self) { return self.scene; })
      .def_property_readonly("index", &Manipulator::index, "The place in the scene.")
      .def_property_readonly("links", &linksOf,
                             "The links below the base, by the index of their joint.")
      .def_property_readonly("base", &baseOf, "The link that has no joint.")
      .def("__getitem__", &linkAt, py::arg("index"))
      .def("__getitem__", &linkOf, py::arg("label"))
      .def("__contains__", &hasLink, py::arg("label"))
      .def("__len__", [](const Manipulator& self) { return self.model().jointDof(); })
      .def("__iter__", [](const Manipulator& self) { return py::iter(py::cast(linksOf(self))); })
      .def("__eq__", &Manipulator::operator==, py::is_operator())
      .def("__hash__",
           [](const Manipulator& self) { return std::hash<const void*>()(self.label.get()); })
      .def("__repr__",
           [](const Manipulator& self)
           {
              if (!hasManipulator(*self.scene, *self.label))
                 return "<Manipulator '" + *self.label + "', which is gone>";
              return "<Manipulator '" + *self.label + "' of " +
                     std::to_string(self.model().jointDof()) + " joints>";
           });

   link.def_property_readonly("manipulator", [](const Link& self) { return self.manipulator; })
      .def(
         "__eq__", [](const Link& self, const Link& other) { return self == other; },
         py::is_operator())
      .def("__hash__", [](const Link& self) { return std::hash<const void*>()(self.label.get()); })
      .def("__repr__", [](const Link& self)
           { return "<Link '" + *self.label + "' of '" + *self.manipulator.label + "'>"; });
}
