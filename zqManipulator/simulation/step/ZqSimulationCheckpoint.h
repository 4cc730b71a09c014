#pragma once

#include "zqManipulator/dynamics/bodies/ZqManipulatorExternalForce.h"
#include "zqManipulator/foundation/xml/ZqXmlEnumType.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/simulation/step/ZqInputTable.h"
#include "zqManipulator/state/ZqActuatorState.h"

#include <cstdint>

/// A simulation between two steps, to be stored: all that the next step depends on, and what has been told so far.
///
///     Zq::save(simulation.checkpoint(), "run.xml");
///
///     ZqSimulationCheckpoint checkpoint;
///     if (Zq::load(checkpoint, "run.xml"))
///        if (const auto simulation = ZqSimulation::resume(checkpoint))
///           simulation->step(dt);
///
/// `ZqSimulation` makes it and knows what its lists mean; they are checked against the model when it resumes. Step
/// length and table of inputs are for the program that runs the simulation, which does not look at them.
///
/// A document of a later version is refused by the reader, with a message. One with a part missing is read as
/// any document is, and not resumed.
class ZqSimulationCheckpoint : public ZqXmlClass<ZqSimulationCheckpoint>
{
public:
   using Reals = ZqXmlVectorBasicType<ZqReal>;

   /// The one that is written, and the latest that is read.
   static constexpr ZqU32 latestVersion = 1;

   static const ZqToken& classToken() { return ZqManip::ZqSimulationCheckpointToken; }
   static constexpr const char* documentation = "a simulation between two steps, to go on from";
   template <class This = ZqSimulationCheckpoint>
   static constexpr auto components()
   {
      return std::tuple{
         ZqAttributeComponent(&This::m_version, &ZqManip::ZqCheckpointVersionToken,
                              "version of this form of document, from 1 on"),
         ZqComponent{&This::m_scene, &ZqManip::ZqStatedSystemToken,
                     "the scene as it is, with what contacts and interactions remember"},
         ZqComponent{&This::m_solver, &ZqManip::ZqSolverToken, "what computes accelerations"},
         ZqComponent{&This::m_integrator, &ZqManip::ZqIntegratorToken,
                     "by which rule a step leads on from the accelerations"},
         ZqComponent{&This::m_closesLoops, &ZqManip::ZqClosesLoopsToken,
                     "whether loops of constraints are held closed"},
         ZqComponent{&This::m_interacts, &ZqManip::ZqInteractsToken,
                     "whether what acts between links is computed"},
         ZqComponent{&This::m_computesContact, &ZqManip::ZqComputesContactToken,
                     "whether contact is part of that"},
         ZqComponent{&This::m_booksEnergy, &ZqManip::ZqBooksEnergyToken,
                     "whether the energy book is kept"},
         ZqComponent{&This::m_actuatorStates, &ZqManip::ZqActuatorStatesToken,
                     "what the drives of each manipulator remember, by index"},
         ZqComponent{&This::m_commands, &ZqManip::ZqCommandsToken,
                     "to the power converters of all joints, by manipulator and link"},
         ZqComponent{&This::m_torques, &ZqManip::ZqTorquesToken,
                     "that are given at the motors of all joints, likewise (N m, or N)"},
         ZqComponent{&This::m_externalForces, &ZqManip::ZqExternalForcesToken,
                     "that are given on each manipulator, by index"},
         ZqComponent{&This::m_counters, &ZqManip::ZqSimulationCountersToken,
                     "how many steps were done, how many of them the integrator left to "
                     "semi-implicit Euler, and how often a contact that stuck began to slip"},
         ZqComponent{
            &This::m_limitHits, &ZqManip::ZqLimitHitsToken,
            "of each joint that was at a limit: index of the manipulator, of the link, first "
            "time (s)"},
         ZqComponent{
            &This::m_firedCriteria, &ZqManip::ZqFiredCriteriaToken,
            "of each manipulator that met a stopping criterion: its index, first time (s)"},
         ZqComponent{&This::m_firedCriterionDescriptions,
                     &ZqManip::ZqFiredCriterionDescriptionsToken, "of these criteria"},
         ZqComponent{
            &This::m_greatestGap, &ZqManip::ZqGreatestGapToken,
            "of a constraint so far: index of the manipulator, of the constraint (4294967295 "
            "when none can be measured), size (m), time (s); no numbers when there is none"},
         ZqComponent{
            &This::m_greatestDepth, &ZqManip::ZqGreatestDepthToken,
            "of a contact so far: index of manipulator and link of body 1, of body 2, depth "
            "(m), time (s); no numbers when there is none"},
         ZqComponent{
            &This::m_loopStates, &ZqManip::ZqLoopStatesToken,
            "the last step that was projected to constraints (s), and then for each "
            "manipulator: 1 if all its loops were closed once, plus 2 if a message told that "
            "one stays open"},
         ZqComponent{
            &This::m_energyBook, &ZqManip::ZqEnergyBookToken,
            "what was held at the start (J): kinetic, gravity, springs of joints, of links, of "
            "contact; work of drives, external forces, carriers; lost in friction of joints, "
            "their dampers, dampers of links, of contact, friction of contact, limits. No "
            "numbers before the first step, and when no book is kept"},
         ZqOptionalComponent(&This::m_couplesAttachments, &ZqManip::ZqCouplesAttachmentsToken,
                             "whether what is attached acts back on what carries it"),
         ZqOptionalComponent(&This::m_stepLength, &ZqManip::ZqStepLengthToken,
                             "of the run (s); 0 when it is not told"),
         ZqOptionalComponent(&This::m_inputTable, &ZqManip::ZqInputTableToken,
                             "table of what drives the run over time, as CSV"),
         ZqOptionalComponent(&This::m_inputInterpolation, &ZqManip::ZqInputInterpolationToken,
                             "between the lines of the table")};
   }
   static ZqSimulationCheckpoint nullObject() { return {}; }
   bool operator==(const ZqSimulationCheckpoint&) const = default;
   /// Refuses a later version before anything else.
   bool read(ZqXmlReader& reader) override;

   /// Of none: `ZqSimulation::checkpoint` makes one.
   ZqSimulationCheckpoint();

   /// \name The words of documents
   /// In the order of `ZqSimulation::Solver`, `ZqSimulation::Integrator` and `ZqInputTable::Interpolation`.
   /// @{
   static const ZqXmlEnumeration& solverEnumeration();
   static const ZqXmlEnumeration& integratorEnumeration();
   static const ZqXmlEnumeration& interpolationEnumeration();
   /// @}

   /// \name Of the simulation
   /// @{
   ZqU32 version() const { return m_version; }
   /// As `ZqSimulation::scene`.
   const ZqStatedSystem& scene() const { return m_scene; }
   ZqSimulation::Settings settings() const;
   /// That were done.
   std::uint64_t steps() const;
   /// @}

   /// \name Of the program that runs it
   /// @{
   /// Length of a step (s); 0 when it is not told.
   ZqReal stepLength() const { return m_stepLength; }
   void setStepLength(ZqReal length) { m_stepLength = length; }
   /// The text of a table as `ZqInputTable` reads it; empty when there is none.
   const ZqString& inputTable() const { return m_inputTable; }
   void setInputTable(const ZqString& text) { m_inputTable = text; }
   ZqInputTable::Interpolation inputInterpolation() const
   {
      return static_cast<ZqInputTable::Interpolation>(m_inputInterpolation.value());
   }
   void setInputInterpolation(ZqInputTable::Interpolation interpolation)
   {
      m_inputInterpolation = static_cast<ZqU32>(interpolation);
   }
   /// @}

private:
   friend class ZqSimulation;

   bool isOfReadableVersion(ZqXmlReader& reader) const;

   ZqU32 m_version = 0; ///< of none
   ZqStatedSystem m_scene;
   ZqXmlEnumType<ZqU32> m_solver;
   ZqXmlEnumType<ZqU32> m_integrator;
   bool m_closesLoops = true;
   bool m_interacts = true;
   bool m_computesContact = true;
   bool m_booksEnergy = false;
   bool m_couplesAttachments = false;
   ZqXmlVectorType<ZqActuatorState> m_actuatorStates;
   Reals m_commands;
   Reals m_torques;
   ZqXmlVectorType<ZqManipulatorExternalForce> m_externalForces;
   Reals m_counters;
   Reals m_limitHits;
   Reals m_firedCriteria;
   ZqXmlVectorType<ZqString> m_firedCriterionDescriptions;
   Reals m_greatestGap;
   Reals m_greatestDepth;
   Reals m_loopStates;
   Reals m_energyBook;
   ZqReal m_stepLength = 0.0;
   ZqString m_inputTable;
   ZqXmlEnumType<ZqU32> m_inputInterpolation;
};

extern template class ZqXmlVectorType<ZqActuatorState>;
extern template class ZqXmlVectorType<ZqManipulatorExternalForce>;
extern template class ZqXmlClass<ZqSimulationCheckpoint>;
