#pragma once

#include "apps/zqsim/observer.h"

#include <string>

namespace zqsim
{
/// Shows a run as a page for the browser, which is written at the end. When there is no page to show it with, that is
/// a `Failure`.
std::unique_ptr<Observer> makeReplay(const std::string& fileName, const std::string& title,
                                     ZqSimulation& simulation);
} // namespace zqsim
