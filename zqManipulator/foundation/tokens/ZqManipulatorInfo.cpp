#include "zqManipulator/foundation/tokens/ZqManipulatorInfo.h"

const ZqString& Zq::manipulatorInfo::xmlNamespace()
{
   static const ZqString text = "http://zqmanipulator.org/toolkits/foundation/manipulator/zq#";
   return text;
}

const ZqString& Zq::manipulatorInfo::projectName()
{
   static const ZqString text = "manipulator";
   return text;
}

const ZqString& Zq::manipulatorInfo::repositoryName()
{
   static const ZqString text = "toolkits";
   return text;
}

const ZqString& Zq::manipulatorInfo::solutionName()
{
   static const ZqString text = "foundation";
   return text;
}

const ZqString& Zq::manipulatorInfo::pluginLibraryFileName()
{
   static const ZqString text;
   return text;
}

bool Zq::manipulatorInfo::projectIsPlugin()
{
   return false;
}
