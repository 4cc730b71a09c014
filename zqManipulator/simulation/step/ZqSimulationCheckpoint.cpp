#include "zqManipulator/simulation/step/ZqSimulationCheckpoint.h"

#include "zqManipulator/foundation/xml/ZqXmlReader.h"

template class ZqXmlVectorType<ZqActuatorState>;
template class ZqXmlVectorType<ZqManipulatorExternalForce>;
template class ZqXmlClass<ZqSimulationCheckpoint>;

// Never destroyed, so that checkpoints can be written until the process ends. Each in the order of its enumeration.

const ZqXmlEnumeration& ZqSimulationCheckpoint::solverEnumeration()
{
   static constinit const ZqToken crbi(ZqToken::Literal{"crbi"});
   static constinit const ZqToken arbi(ZqToken::Literal{"arbi"});
   static const auto& enumeration = *new ZqXmlEnumeration{
      {&crbi, "by composite bodies, with constraints"}, {&arbi, "by articulated bodies"}};
   return enumeration;
}

const ZqXmlEnumeration& ZqSimulationCheckpoint::integratorEnumeration()
{
   static constinit const ZqToken euler(ZqToken::Literal{"euler"});
   static constinit const ZqToken midpoint(ZqToken::Literal{"midpoint"});
   static constinit const ZqToken rk4(ZqToken::Literal{"rk4"});
   static const auto& enumeration =
      *new ZqXmlEnumeration{{&euler, "semi-implicit, of first order"},
                            {&midpoint, "implicit, of second order"},
                            {&rk4, "of Runge and Kutta, of fourth order"}};
   return enumeration;
}

const ZqXmlEnumeration& ZqSimulationCheckpoint::interpolationEnumeration()
{
   static constinit const ZqToken hold(ZqToken::Literal{"hold"});
   static constinit const ZqToken linear(ZqToken::Literal{"linear"});
   static const auto& enumeration = *new ZqXmlEnumeration{
      {&hold, "a line holds until the next one"}, {&linear, "along straight lines"}};
   return enumeration;
}

ZqSimulationCheckpoint::ZqSimulationCheckpoint()
   : m_solver(solverEnumeration()), m_integrator(integratorEnumeration()),
     m_inputInterpolation(interpolationEnumeration())
{
}

bool ZqSimulationCheckpoint::read(ZqXmlReader& reader)
{
   // A document leaves out what is not told.
   m_couplesAttachments = false;
   m_stepLength = 0.0;
   m_inputTable.clear();
   m_inputInterpolation = 0;
   return isOfReadableVersion(reader) && ZqXmlClass::read(reader);
}

/// A later version may mean other things by the same names: nothing of it is read.
bool ZqSimulationCheckpoint::isOfReadableVersion(ZqXmlReader& reader) const
{
   ZqU32 version = 0;
   for (unsigned i = 0; i < reader.attributeCount(); ++i)
   {
      reader.setAttributeCursor(i);
      if (reader.attributeNameText() == ZqManip::ZqCheckpointVersionToken.view() &&
          ZqXmlText<ZqU32>::parse(reader.attributeValueText(), version) && version > latestVersion)
      {
         reader.fail("a checkpoint of version " + std::to_string(version) +
                        ", but this program reads up to " + std::to_string(latestVersion),
                     "version");
         return false;
      }
   }
   return true;
}

ZqSimulation::Settings ZqSimulationCheckpoint::settings() const
{
   ZqSimulation::Settings settings;
   settings.solver = static_cast<ZqSimulation::Solver>(m_solver.value());
   settings.integrator = static_cast<ZqSimulation::Integrator>(m_integrator.value());
   settings.closesLoops = m_closesLoops;
   settings.interacts = m_interacts;
   settings.computesContact = m_computesContact;
   settings.booksEnergy = m_booksEnergy;
   settings.couplesAttachments = m_couplesAttachments;
   return settings;
}

std::uint64_t ZqSimulationCheckpoint::steps() const
{
   // Of a document that was edited it may be any number.
   constexpr ZqReal most = 9007199254740992.0;
   const ZqReal count = m_counters.size() > 0 ? m_counters[0] : 0.0;
   return count >= 0.0 && count <= most ? static_cast<std::uint64_t>(count) : 0;
}
