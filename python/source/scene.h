#pragma once

#include "python/source/bindings.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/state/ZqSystemActiveState.h"
#include "zqManipulator/tools/urdf/ZqConversionLoss.h"

#include <functional>
#include <map>
#include <memory>
#include <string>

/// What Python holds of a model: a scene, which owns everything, and manipulators and links, which are views that
/// keep their scene alive.
///
/// A view holds no pointer into the model but the label of what it shows, and looks it up at each use. So it
/// survives every edit that leaves the label, follows one that changes it, and is a `ReferenceError` when there is
/// nothing of the label.
///
/// All this is used under the interpreter's lock. What takes long copies the stated system first, which shares
/// the model until somebody changes it, and works on that with the lock released (`failures.h`):
///
///     const ZqStatedSystem scene = manipulator.scene->stated();
///     perform("check", [&] { ... scene ... });
namespace zqPython
{
/// Labels with an identity: those who hold one share it, and a change of the label is a change for all.
class Labels
{
public:
   using Label = std::shared_ptr<const ZqString>;

   Label of(const ZqString& text);
   /// All at once, so that labels may be swapped.
   void change(const std::map<ZqString, ZqString>& newByOld);

private:
   std::map<ZqString, std::weak_ptr<ZqString>> m_labels;
};

/// A stated system with an active state for its queries.
class Scene
{
public:
   Scene() = default;
   explicit Scene(ZqStatedSystem stated) : m_stated(std::move(stated)) {}
   Scene(const Scene& other) : losses(other.losses), m_stated(other.m_stated) {}
   Scene& operator=(const Scene&) = delete;

   const ZqStatedSystem& stated() const { return m_stated; }
   /// To change the model: what was derived from it is forgotten.
   ZqStatedSystem& model()
   {
      m_modelChanged = true;
      return m_stated;
   }
   /// Lets a function change the state. What is attached to links goes with them.
   void changeState(const std::function<void(ZqManipulatorSystemState&)>& change);
   /// Where links are and how they move in the state as it is, for queries. They may leave accelerations in it.
   ZqSystemActiveState& active();
   ZqManipulatorActiveState& active(ZqU32 manipulator)
   {
      return active().manipulatorActiveStateVector()[manipulator];
   }

   Labels labels;                              ///< of manipulators
   std::map<Labels::Label, Labels> linkLabels; ///< by the label of their manipulator
   ZqConversionLosses losses;                  ///< when it was read

private:
   ZqStatedSystem m_stated;
   ZqSystemActiveState m_active;
   bool m_modelChanged = true;
   bool m_stateChanged = true;
};

/// A manipulator of a scene.
struct Manipulator
{
   std::shared_ptr<Scene> scene;
   Labels::Label label;

   /// \name A `ReferenceError` when the manipulator is gone
   /// @{
   ZqU32 index() const;
   const ZqIndividualManipulator& model() const;
   const ZqPositionState& position() const;
   const ZqVelocityState& velocity() const;
   ZqManipulatorActiveState& active() const { return scene->active(index()); }
   /// @}
   /// What queries of links that take a scene are given.
   ZqStatedSystemStruct context() const;
   bool operator==(const Manipulator& other) const
   {
      return scene == other.scene && label == other.label;
   }
};

/// A link of a manipulator, which may be its base.
struct Link
{
   Manipulator manipulator;
   Labels::Label label;

   /// \name A `ReferenceError` when the link or its manipulator is gone
   /// @{
   const ZqManipulatorLink& model() const;
   /// That of its joint; `ZqBaseLinkIndex` for the base.
   ZqU32 index() const { return model().linkIndex(); }
   /// @}
   bool operator==(const Link& other) const = default;
};

/// \name Views
/// By an index or a label that exists; otherwise an `IndexError` or a `KeyError`.
/// @{
Manipulator manipulatorAt(const std::shared_ptr<Scene>& scene, py::ssize_t index);
Manipulator manipulatorOf(const std::shared_ptr<Scene>& scene, const ZqString& label);
Link linkAt(const Manipulator& manipulator, py::ssize_t index);
Link linkOf(const Manipulator& manipulator, const ZqString& label);
Link baseOf(const Manipulator& manipulator);
/// @}
/// Raises a `ReferenceError`.
[[noreturn]] void failForGone(const std::string& text);

using SceneClass = py::class_<Scene, std::shared_ptr<Scene>>;
using ManipulatorClass = py::class_<Manipulator>;
using LinkClass = py::class_<Link>;
/// \name For the themes that add to them
/// @{
SceneClass sceneClass(const py::module_& module);
ManipulatorClass manipulatorClass(const py::module_& module);
LinkClass linkClass(const py::module_& module);
/// @}
} // namespace zqPython
