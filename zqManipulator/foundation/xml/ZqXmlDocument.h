#pragma once

#include "zqManipulator/foundation/algebra/ZqTypes.h"

#include <string_view>

class ZqXmlObject;
class ZqXmlReader;
class ZqXmlWriter;

/// Whole documents: an object in a root element that bears the object's token. When memory runs out, the
/// answer is false, with a message.
namespace Zq
{
/// Reads a document. True only when all of it is well formed, its root is of the object's token, and
/// every part was read. What is wrong is logged with its file and line, and the object keeps what was
/// read until then.
bool load(ZqXmlObject& object, const ZqString& fileName);
bool fromXml(ZqXmlObject& object, std::string_view document);
bool read(ZqXmlObject& object, ZqXmlReader& reader);

/// Writes a document to a file. The bytes go to a new file beside the target, reach the disk, and
/// then take the target's name: whatever fails or crashes, the target is the old file or the new one. A
/// new file that a killed save has left there (`TARGET.save-0.new`) goes with the next save of the target;
/// that of a save at work, of this process or another, is locked and stays.
/// False, with a message, when the object cannot be written (a number that is not finite) or the
/// disk refuses. With `writeDefaults` false, components that equal their default are left out.
bool save(const ZqXmlObject& object, const ZqString& fileName, bool writeDefaults = true);
/// Writes bytes of any kind to a file in the same way.
bool saveBytes(std::string_view bytes, const ZqString& fileName);
/// The document is empty when it could not be written.
bool toXml(const ZqXmlObject& object, ZqString& document, bool writeDefaults = true);
bool write(const ZqXmlObject& object, ZqXmlWriter& writer);
} // namespace Zq
