#include "zqManipulator/foundation/tokens/ZqManipulatorInfo.h"

const ZqString& Zq::manipulatorInfo::xmlNamespace()
{
   static const auto& text =
      *new ZqString("http://zqmanipulator.org/toolkits/foundation/manipulator/zq#");
   return text;
}

const ZqString& Zq::manipulatorInfo::projectName()
{
   static const auto& text = *new ZqString("manipulator");
   return text;
}

const ZqString& Zq::manipulatorInfo::repositoryName()
{
   static const auto& text = *new ZqString("toolkits");
   return text;
}

const ZqString& Zq::manipulatorInfo::solutionName()
{
   static const auto& text = *new ZqString("foundation");
   return text;
}

const ZqString& Zq::manipulatorInfo::pluginLibraryFileName()
{
   static const auto& text = *new ZqString();
   return text;
}

bool Zq::manipulatorInfo::projectIsPlugin()
{
   return false;
}
