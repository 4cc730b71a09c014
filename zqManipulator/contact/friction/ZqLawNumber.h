#pragma once

#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/foundation/xml/ZqXmlReader.h"

/// What a constant of a law of contact may be. NaN is never within.
struct ZqLawRange
{
   ZqReal least, most;

   bool holds(ZqReal value) const noexcept { return value >= least && value <= most; }
};

/// Takes a number over; one that is out of the range changes nothing, and is logged.
inline void zqSetLawNumber(ZqReal& number, ZqReal value, const ZqLawRange& range,
                           const char* operation)
{
   if (range.holds(value))
      number = value;
   else
      Zq::Print::instance().write(Zq::Rejected, "%s: %g is not from %g to %g.\n", operation, value,
                                  range.least, range.most);
}

/// Replaces a number that a document has out of the range, with a remark.
inline void zqRepairLawNumber(ZqReal& number, ZqReal byDefault, const ZqLawRange& range,
                              const ZqToken& name, ZqXmlReader& reader)
{
   if (range.holds(number))
      return;
   number = byDefault;
   reader.remark(ZqString(name.localName()) +
                    " of a law of contact is out of range, and has its default",
                 "contact-repaired");
}
