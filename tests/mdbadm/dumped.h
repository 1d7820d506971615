// What dumps of a database are held to.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "tests/support/sqlite.h"

#define SKIP_WITHOUT_SQLITE() \
  if (!Sqlite::Installed()) GTEST_SKIP() << "sqlite3 is not installed"

namespace test_support {

// Every view gives the rows of its query; how many views.
std::size_t ExpectSameViews(const std::string& path, const std::string& password);

}  // namespace test_support
