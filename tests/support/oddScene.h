#pragma once

#include "support/randomScene.h"
#include "support/recursiveDynamics.h"

namespace zqTest
{
/// A random scene with all that a model may have: besides what a `RandomScene` has, dampers, joints of a
/// user's own class, with motions of their own or numeric ones, links without a joint, joints of types that
/// nobody knows, masses that are attached, and manipulators that refer to another one, of another place and
/// another base. Its manipulator may be changed.
class OddScene
{
public:
   explicit OddScene(ZqU32 seed);
   OddScene(const OddScene&) = delete;

   /// The one to ask, and the one that has its links.
   ZqIndividualManipulator& manipulator() { return m_manipulators[m_manipulators.size() - 1]; }
   ZqIndividualManipulator& model() { return m_manipulators[0]; }
   bool isReference() const { return m_manipulators.size() > 1; }
   RandomScene& scene() { return m_scene; }
   RandomValues& random() { return m_scene.random; }

   /// A motion on top of gravity, under forces and torques. The lists of what need not be complete may end
   /// early.
   MotionInput input();
   ZqAccelerationState randomAcceleration(ZqU32 joints);
   /// Changes a link, the tree, the base, or what is attached.
   void changeModel();

private:
   ZqIndividualManipulator makeModel(ZqU32 seed) const;
   void changeAttachments();

   bool m_hasUnknownTypes; ///< before what is made with it
   RandomScene m_scene;
   ZqIndividualManipulator::Manipulators m_manipulators;
   ZqStatedSystemStruct m_structure;
};
} // namespace zqTest
