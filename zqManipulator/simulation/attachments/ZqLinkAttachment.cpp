#include "zqManipulator/simulation/attachments/ZqLinkAttachment.h"

template class ZqXmlClass<ZqLinkAttachment, ZqManipulatorLinkIdentifier>;
