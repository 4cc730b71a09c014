#include "zqManipulator/tools/labels/ZqModelEdit.h"

#include <algorithm>
#include <numeric>
#include <set>
#include <string_view>

// Indices

ZqRenumbering ZqRenumbering::inserted(ZqU32 at, ZqU32 count)
{
   ZqRenumbering result;
   if (count == 0)
      return result;
   result.m_newIndices.resize(at);
   std::iota(result.m_newIndices.begin(), result.m_newIndices.end(), 0U);
   result.m_shift = static_cast<int>(count);
   return result;
}

ZqRenumbering ZqRenumbering::removed(ZqU32 first, ZqU32 count)
{
   ZqRenumbering result = inserted(first, count);
   result.m_newIndices.resize(result.m_newIndices.size() + count, gone);
   result.m_shift = -static_cast<int>(count);
   return result;
}

ZqRenumbering ZqRenumbering::to(std::vector<ZqU32> newIndices)
{
   ZqRenumbering result;
   result.m_newIndices = std::move(newIndices);
   result.m_othersGo = true;
   return result;
}

ZqU32 ZqRenumbering::operator()(ZqU32 oldIndex) const
{
   if (oldIndex < m_newIndices.size())
      return m_newIndices[oldIndex];
   return m_othersGo || oldIndex == gone ? gone : oldIndex + static_cast<ZqU32>(m_shift);
}

ZqRenumbering ZqRenumbering::then(const ZqRenumbering& next) const
{
   if (next.isIdentity())
      return *this;
   // Of those behind, the list of the next one is to be passed, too.
   ZqRenumbering result;
   std::size_t count = m_newIndices.size();
   if (const auto reach = static_cast<std::ptrdiff_t>(next.m_newIndices.size()) - m_shift;
       !m_othersGo && reach > static_cast<std::ptrdiff_t>(count))
      count = static_cast<std::size_t>(reach);
   result.m_newIndices.resize(count);
   for (ZqU32 i = 0; i < result.m_newIndices.size(); ++i)
      result.m_newIndices[i] = next((*this)(i));
   result.m_shift = m_shift + next.m_shift;
   result.m_othersGo = m_othersGo || next.m_othersGo;
   return result;
}

// Links

ZqLinkEdit ZqLinkEdit::inserted(ZqU32 at, ZqU32 count)
{
   ZqLinkEdit result;
   result.m_indices = ZqRenumbering::inserted(at, count);
   return result;
}

ZqLinkEdit ZqLinkEdit::relabelled(const Labels& before, const Labels& after)
{
   ZqLinkEdit result;
   for (std::size_t i = 0; i < before.size(); ++i)
      result.m_labels.insert_or_assign(before[i], after[i]);
   std::erase_if(result.m_labels, [](const auto& entry) { return entry.first == entry.second; });
   return result;
}

ZqLinkEdit ZqLinkEdit::matched(const Labels& before, const Labels& after)
{
   // The bases match, whatever their labels.
   const auto oldLinks = static_cast<ZqU32>(before.size() - 1);
   const auto newLinks = static_cast<ZqU32>(after.size() - 1);
   std::multimap<ZqString, ZqU32> places;
   for (ZqU32 i = 0; i < newLinks; ++i)
      places.emplace(after[i], i);
   std::vector<ZqU32> newIndices(oldLinks, ZqRenumbering::gone);
   const std::set<std::string_view> remaining(after.begin(), after.end());
   ZqLinkEdit result;
   for (ZqU32 i = 0; i < oldLinks; ++i)
      if (const auto place = places.lower_bound(before[i]);
          place != places.end() && place->first == before[i])
         newIndices[i] = places.extract(place).mapped();
      else if (!remaining.contains(before[i]))
         result.m_labels[before[i]] = std::nullopt;
   if (before.back() != after.back())
      result.m_labels[before.back()] = after.back();
   bool stays = true;
   for (ZqU32 i = 0; i < oldLinks; ++i)
      stays = stays && newIndices[i] == i;
   if (!stays)
      result.m_indices = ZqRenumbering::to(std::move(newIndices));
   return result;
}

ZqLinkEdit ZqLinkEdit::moved(ZqRenumbering indices, std::map<ZqString, ZqString> labels,
                             ZqU32 newBaseIndex)
{
   ZqLinkEdit result = carried(std::move(indices), {labels.begin(), labels.end()}, newBaseIndex);
   result.m_otherLabelsGo = true;
   return result;
}

ZqLinkEdit ZqLinkEdit::carried(ZqRenumbering indices,
                               std::map<ZqString, std::optional<ZqString>> labels,
                               ZqU32 newBaseIndex)
{
   ZqLinkEdit result;
   result.m_indices = std::move(indices);
   result.m_base = newBaseIndex;
   result.m_baseIsMerged = newBaseIndex != ZqNoLinkIndex;
   result.m_labels = std::move(labels);
   return result;
}

void ZqLinkEdit::restate(ZqU32 index, const ZqString& label, const ZqLinkRestatement& restatement)
{
   ZqLinkRestatement& own = m_restatements[index];
   own = own.then(restatement);
   m_restatedLabels[label] = index;
}

ZqU32 ZqLinkEdit::index(ZqU32 oldIndex) const
{
   return oldIndex == ZqBaseLinkIndex ? m_base : m_indices(oldIndex);
}

const ZqString* ZqLinkEdit::label(const ZqString& oldLabel) const
{
   const auto found = m_labels.find(oldLabel);
   if (found == m_labels.end())
      return m_otherLabelsGo ? nullptr : &oldLabel;
   return found->second ? &*found->second : nullptr;
}

bool ZqLinkEdit::apply(ZqString& label) const
{
   const ZqString* const newLabel = this->label(label);
   if (newLabel != nullptr && newLabel != &label)
      label = *newLabel;
   return newLabel != nullptr;
}

namespace
{
const ZqLinkRestatement& unchanged()
{
   static const auto& result = *new ZqLinkRestatement();
   return result;
}
} // namespace

const ZqLinkRestatement& ZqLinkEdit::restatement(ZqU32 newIndex) const
{
   const auto found = m_restatements.find(newIndex);
   return found != m_restatements.end() ? found->second : unchanged();
}

const ZqLinkRestatement& ZqLinkEdit::restatement(const ZqString& newLabel) const
{
   const auto found = m_restatedLabels.find(newLabel);
   return found != m_restatedLabels.end() ? restatement(found->second) : unchanged();
}

ZqLinkEdit ZqLinkEdit::then(const ZqLinkEdit& next) const
{
   ZqLinkEdit result = *this;
   result.m_restatements.clear();
   result.m_restatedLabels.clear();
   for (const auto& [place, restatement] : m_restatements)
      if (const ZqU32 newPlace = next.index(place); newPlace != ZqNoLinkIndex)
         result.m_restatements[newPlace] = restatement.then(next.restatement(newPlace));
   result.m_restatements.insert(next.m_restatements.begin(), next.m_restatements.end());
   for (const auto& [label, place] : m_restatedLabels)
      if (const ZqString* const newLabel = next.label(label); newLabel != nullptr)
         result.m_restatedLabels[*newLabel] = next.index(place);
   result.m_restatedLabels.insert(next.m_restatedLabels.begin(), next.m_restatedLabels.end());
   result.m_indices = m_indices.then(next.m_indices);
   result.m_base = next.index(m_base);
   result.m_baseIsMerged = m_baseIsMerged || next.m_baseIsMerged;
   result.m_otherLabelsGo = m_otherLabelsGo || next.m_otherLabelsGo;
   for (auto& [from, to] : result.m_labels)
      if (to && !next.apply(*to))
         to = std::nullopt;
   // A label that only the second edit knows: as it was before the first.
   if (!m_otherLabelsGo)
      for (const auto& entry : next.m_labels)
         result.m_labels.insert(entry);
   return result;
}

// Scenes

bool ZqModelEdit::isIdentity() const
{
   return m_manipulators.isIdentity() && m_transfers.empty() &&
          std::all_of(m_links.begin(), m_links.end(),
                      [](const auto& entry) { return entry.second.isIdentity(); });
}

const ZqLinkEdit& ZqModelEdit::links(ZqU32 oldManipulator) const
{
   static const auto& nothing = *new ZqLinkEdit();
   const auto found = m_links.find(oldManipulator);
   return found != m_links.end() ? found->second : nothing;
}

/// The manipulator to which links of one went that an edit knows, and the edit; null when there is none.
template <class IsKnown>
std::pair<ZqU32, const ZqLinkEdit*> ZqModelEdit::follow(ZqU32 from, const IsKnown& isKnown) const
{
   if (const ZqLinkEdit& own = links(from);
       manipulator(from) != ZqRenumbering::gone && isKnown(own))
      return {manipulator(from), &own};
   for (const Transfer& transfer : m_transfers)
      if (transfer.from == from && isKnown(transfer.links))
         return {transfer.to, &transfer.links};
   return {ZqRenumbering::gone, nullptr};
}

std::pair<ZqU32, const ZqLinkEdit*>
ZqModelEdit::followPlace(const ZqManipulatorLinkIndex& oldPlace) const
{
   return follow(oldPlace.manipulatorIndex, [&](const ZqLinkEdit& edit)
                 { return edit.index(oldPlace.linkIndex) != ZqNoLinkIndex; });
}

std::pair<ZqU32, const ZqLinkEdit*> ZqModelEdit::followLabel(ZqU32 oldManipulator,
                                                             const ZqString& oldLabel) const
{
   return follow(oldManipulator,
                 [&](const ZqLinkEdit& edit) { return edit.label(oldLabel) != nullptr; });
}

std::optional<ZqManipulatorLinkIndex>
ZqModelEdit::place(const ZqManipulatorLinkIndex& oldPlace) const
{
   const auto [to, edit] = followPlace(oldPlace);
   if (edit == nullptr)
      return std::nullopt;
   return ZqManipulatorLinkIndex{to, edit->index(oldPlace.linkIndex)};
}

std::optional<ZqModelEdit::LinkName> ZqModelEdit::name(ZqU32 oldManipulator,
                                                       const ZqString& oldLabel) const
{
   const auto [to, edit] = followLabel(oldManipulator, oldLabel);
   if (edit == nullptr)
      return std::nullopt;
   return LinkName(to, *edit->label(oldLabel));
}

const ZqLinkRestatement& ZqModelEdit::restatement(const ZqManipulatorLinkIndex& oldPlace) const
{
   const ZqLinkEdit* const edit = followPlace(oldPlace).second;
   return edit != nullptr ? edit->restatement(edit->index(oldPlace.linkIndex)) : unchanged();
}

const ZqLinkRestatement& ZqModelEdit::restatement(ZqU32 oldManipulator,
                                                  const ZqString& oldLabel) const
{
   const ZqLinkEdit* const edit = followLabel(oldManipulator, oldLabel).second;
   return edit != nullptr ? edit->restatement(*edit->label(oldLabel)) : unchanged();
}
