// The integrity checker on page 0.
#pragma once

#include "jet/check_report.h"
#include "jet/value.h"

namespace jet::check {

bool IsCreationDate(DateTime created);
void CheckHeader(PageView page, Report& report);

}  // namespace jet::check
