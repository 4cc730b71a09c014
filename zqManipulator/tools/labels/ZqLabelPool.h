#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <cstdint>
#include <map>
#include <set>

/// Hands out a new label for the copy of a labelled thing.
///
/// The pool knows every label that was ever taken (the used labels), and those in use now with an
/// index each (the using labels). A label once taken is never handed out again, even when it is no
/// longer in use.
class ZqLabelPool
{
public:
   /// Takes a label without putting it to use.
   void addUsedLabel(const ZqString& label);

   /// Puts a label to use and takes it. False if it is in use already: its index then stays.
   bool addUsingLabel(const ZqString& label, ZqU32 index);

   /// Ends the use of all labels, or of one. They stay taken.
   void clearUsingLabels();
   void deleteUsingLabel(const ZqString& label);

   /// The index of a label in use. False, with `index` unchanged, if it is not in use.
   bool indexOfUsingLabel(const ZqString& label, ZqU32& index) const;

   bool isLabelUsing(const ZqString& label) const;

   /// The label itself if it was never taken, else the first free one of base-n, base-(n+1), ...
   /// The label "base-n" is counted on from its own n; for any other, the base is the whole label
   /// and n is 1. The pool stays as it is: the caller takes the label.
   ///
   /// Throws boost::bad_lexical_cast if the label is taken and its n is out of the range of int.
   ZqString nextUnusedLabel(const ZqString& label) const;

   /// The same, but never throws: a label whose n is out of range counts as a base.
   ZqString unusedLabel(const ZqString& label) const;

   const std::set<ZqString>& usedLabels() const { return m_usedLabels; }
   const std::map<ZqString, ZqU32>& usingLabels() const { return m_usingLabels; }

   bool operator==(const ZqLabelPool& other) const
   {
      return m_usedLabels == other.m_usedLabels && m_usingLabels == other.m_usingLabels;
   }

protected:
   /// Takes a label of the form "base-digits" apart; spaces at its end do not count. Base or digits
   /// may be empty. False, with both results unchanged, for any other form.
   static bool parseLabel(const ZqString& label, ZqString& base, ZqString& number);

private:
   void take(const ZqString& label);

   std::set<ZqString> m_usedLabels;
   std::map<ZqString, ZqU32> m_usingLabels;
   /// By base, runs of numbers that are taken: from the first to the one before the second.
   std::map<ZqString, std::map<std::int64_t, std::int64_t>> m_takenNumbers;
};
