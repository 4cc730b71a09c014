#include "apps/zqsim/attachmentEvents.h"

#include "apps/zqsim/commands.h"
#include "apps/zqsim/model.h"
#include "apps/zqsim/numbers.h"

#include <algorithm>
#include <string_view>

namespace
{
using namespace zqsim;

std::optional<ZqU32> manipulatorNamed(std::string_view name, const ZqManipulatorSystem& system)
{
   for (ZqU32 i = 0; i < system.manipulators().size(); ++i)
      if (system.manipulators()[i].manipulatorLabel() == name)
         return i;
   return std::nullopt;
}

/// By CARRIER/LINK, or with a colon between them; names may have either in them.
std::optional<ZqSimulation::Place> placeNamed(std::string_view name,
                                              const ZqManipulatorSystem& system)
{
   for (std::size_t sign = name.find_first_of("/:"); sign != std::string_view::npos;
        sign = name.find_first_of("/:", sign + 1))
      if (const auto manipulator = manipulatorNamed(name.substr(0, sign), system))
      {
         const ZqU32 link = system.manipulators()[*manipulator].linkIndexByIdentifier(
            ZqString(name.substr(sign + 1)));
         if (link != ZqNoLinkIndex)
            return ZqSimulation::Place{*manipulator, link};
      }
   return std::nullopt;
}

/// Names may have blanks in them.
bool readPlaces(std::string_view names, const ZqManipulatorSystem& system, AttachmentEvent& event)
{
   for (std::size_t blank = names.find(' '); blank != std::string_view::npos;
        blank = names.find(' ', blank + 1))
   {
      const auto manipulator = manipulatorNamed(names.substr(0, blank), system);
      event.carrier = placeNamed(names.substr(blank + 1), system);
      event.manipulator = manipulator.value_or(0);
      if (manipulator && event.carrier)
         return true;
   }
   return false;
}

AttachmentEvent parseEvent(const char* option, const std::string& text, bool isAttachment,
                           const ZqManipulatorSystem& system)
{
   AttachmentEvent event{0.0, 0, std::nullopt, std::string(option) + " \"" + text + '"'};
   const std::string_view given = text;
   const std::size_t blank = std::min(given.find(' '), given.size());
   event.time = parseNumber(option, given.substr(0, blank));
   const std::string_view names = given.substr(std::min(blank + 1, given.size()));
   const auto released = manipulatorNamed(names, system);
   if (isAttachment ? readPlaces(names, system, event) : released.has_value())
   {
      event.manipulator = isAttachment ? event.manipulator : *released;
      return event;
   }
   throw Failure(Usage, event.text + ": after the time " +
                           (isAttachment ? "there are no MANIPULATOR and CARRIER/LINK of the model"
                                         : "there is no MANIPULATOR of the model"));
}
} // namespace

std::vector<zqsim::AttachmentEvent> zqsim::parseEvents(const std::vector<std::string>& attachments,
                                                       const std::vector<std::string>& releases,
                                                       const ZqManipulatorSystem& system)
{
   std::vector<AttachmentEvent> events;
   // At one time what is released goes first, so that it may be attached elsewhere.
   for (const std::string& text : releases)
      events.push_back(parseEvent("--release", text, false, system));
   for (const std::string& text : attachments)
      events.push_back(parseEvent("--attach", text, true, system));
   std::stable_sort(events.begin(), events.end(),
                    [](const AttachmentEvent& a, const AttachmentEvent& b)
                    { return a.time < b.time; });
   return events;
}

std::set<ZqU32> zqsim::findCarried(const ZqSimulation& simulation,
                                   const std::vector<AttachmentEvent>& events)
{
   std::set<ZqU32> result;
   for (ZqU32 i = 0; i < simulation.system().numberOfManipulators(); ++i)
      if (const ZqManipulatorAttachmentNode* node = simulation.attachments().findNode(i);
          node != nullptr && node->parentNode() != nullptr)
         result.insert(i);
   for (const AttachmentEvent& event : events)
      result.insert(event.manipulator);
   return result;
}

void zqsim::requirePossible(const std::vector<AttachmentEvent>& events,
                            ZqManipulatorAttachmentMap attachments,
                            const ZqManipulatorSystem& system)
{
   const auto require =
      [&](const AttachmentEvent& event, bool isPossible, const std::string& reason)
   {
      if (!isPossible)
         throw Failure(Usage, event.text + ": \"" +
                                 system.manipulators()[event.manipulator].manipulatorLabel() +
                                 "\" " + reason);
   };
   for (const AttachmentEvent& event : events)
   {
      if (!event.carrier)
      {
         require(event, attachments.removeManipulatorAttachment(event.manipulator),
                 "is not attached then");
         continue;
      }
      const ZqIndividualManipulator& carrier = system.manipulators()[event.carrier->manipulator];
      const ZqString link = event.carrier->link == ZqBaseLinkIndex
                               ? carrier.concreteReference().linkLabel()
                               : carrier.linkByIndex(event.carrier->link)->linkLabel();
      ZqU32 present = 0;
      ZqString presentLink;
      ZqCoordinateSystemTransformation offset;
      const bool isThere =
         attachments.getDependentManipulatorInfo(event.manipulator, present, presentLink, offset) &&
         present == event.carrier->manipulator && presentLink == link;
      require(event, !isThere, "is attached there already");
      require(
         event,
         attachments.attachManipulator(event.manipulator, event.carrier->manipulator, link, {}, {}),
         "would hang on itself");
   }
}

void zqsim::AttachmentEvent::apply(ZqSimulation& simulation) const
{
   bool isDone = false;
   const Diagnostics diagnostics = diagnosticsOf(
      [&] {
         isDone =
            carrier ? simulation.attach(manipulator, *carrier) : simulation.detach(manipulator);
      });
   if (!isDone)
      throw Failure(Usage, text + ": " + reason(text, diagnostics));
}
