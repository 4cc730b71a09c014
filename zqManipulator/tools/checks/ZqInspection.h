#pragma once

#include "zqManipulator/foundation/log/ZqDiagnostic.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/state/ZqSystemActiveState.h"

#include <utility>
#include <vector>

/// What the checks of a model have in common.
namespace zqChecks
{
using Zq::Severity;

/// A scene, the frames of its state, and what is odd about it.
class Inspection
{
public:
   explicit Inspection(const ZqStatedSystem& scene) : m_scene(scene), m_state(scene.state())
   {
      scene.rightSizeState(m_state);
      if (!m_state.checkCompatibleState(scene.state()))
         report(Severity::Error, "state-size", {}, "the state is of another size than the system");
      m_active.setNonredundantState(m_state);
   }

   const ZqStatedSystem& scene() const { return m_scene; }
   ZqSystemActiveState& activeState() { return m_active; }
   /// That of the scene, made to fit.
   const ZqManipulatorSystemState& state() const { return m_state; }
   const ZqIndividualManipulator& manipulator(ZqU32 index) const
   {
      return m_scene.system().manipulators()[index];
   }
   ZqManipulatorActiveState& activeState(ZqU32 index)
   {
      return m_active.manipulatorActiveStateVector()[index];
   }

   void report(Severity severity, const char* code, const ZqString& path, const ZqString& text)
   {
      m_findings.push_back({severity, code, {}, 0, path, text});
   }
   std::vector<Zq::Diagnostic> findings() { return std::move(m_findings); }

private:
   const ZqStatedSystem& m_scene;
   ZqManipulatorSystemState m_state;
   ZqSystemActiveState m_active;
   std::vector<Zq::Diagnostic> m_findings;
};

/// \name Texts of findings
/// @{
inline ZqString quoted(const ZqString& label)
{
   return '"' + label + '"';
}
ZqString pathOf(const ZqIndividualManipulator& manipulator);
/// The base stands among the links.
ZqString pathOf(const ZqIndividualManipulator& manipulator, const ZqManipulatorLink& link);
/// With six digits.
ZqString rounded(ZqReal value);
/// Of two digits, and not above the number.
ZqReal roundedDown(ZqReal value);
/// @}
} // namespace zqChecks
