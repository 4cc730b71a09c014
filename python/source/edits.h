#pragma once

#include "python/source/failures.h"
#include "python/source/scene.h"

/// Edits of a scene by its views.
namespace zqPython
{
/// A drive that exerts what it is told, without limits.
ZqJointActuator plainDrive();

/// Lets a function change the model of a manipulator; all that speaks of its links follows. It answers whether
/// it succeeded.
template <class Change>
void edit(const Manipulator& manipulator, const std::string& doing, Change change)
{
   const ZqU32 index = manipulator.index();
   performNow(doing,
              [&]
              {
                 bool isDone = false;
                 return manipulator.scene->model().editManipulator(
                           index,
                           [&](ZqIndividualManipulator& model) { isDone = change(model); }) &&
                        isDone;
              });
}

/// Lets a function change a link.
template <class Change>
void edit(const Link& link, const std::string& doing, Change change)
{
   link.model(); // a link that is gone
   edit(link.manipulator, doing,
        [&](ZqIndividualManipulator& model)
        {
           change(*model.linkByIdentifier(*link.label));
           return true;
        });
}
} // namespace zqPython
