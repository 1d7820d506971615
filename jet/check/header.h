// The integrity checker on page 0.
#pragma once

#include "jet/base/value.h"
#include "jet/check/report.h"

namespace jet::check {

bool IsCreationDate(DateTime created);
void CheckHeader(PageView page, Report& report);

}  // namespace jet::check
