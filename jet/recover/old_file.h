// A damaged file, opened to read: what its pages are and what they say together.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "jet/recover/old_catalog.h"
#include "jet/recover/recover_options.h"

namespace jet::recover {

class OldFile {
 public:
  // Reads the pages and the definitions among them. kNotJet4, kWrongPassword.
  OldFile(FileSystem& files, const std::string& path, const RecoverOptions& options);

  // Nothing where page 0 is lost.
  const std::optional<Header>& header() const { return header_; }
  Pager& pager() { return *pager_; }
  const PageScan& scan() const { return *scan_; }
  // Of the header, else of the columns.
  SortOrder order() const;
  // Whether any page could be recognised.
  bool has_content() const;

  // The definitions of the system tables, for those that cannot be read. After this,
  // all of the below can be asked.
  void Complete(const std::vector<TableDef>& system_tables);
  const OldDefinitions& definitions() const { return definitions_; }
  const PageOwners& owners() const { return *owners_; }
  const OldCatalog& catalog() const { return catalog_; }
  OldCatalog& catalog() { return catalog_; }
  // REQUIRES: the judge outlives the rows.
  OldRows RowsOf(PageNumber table, const RowJudge& judge);

 private:
  void ReadDefinitions();

  std::optional<Header> header_;
  std::unique_ptr<Pager> pager_;
  std::optional<PageScan> scan_;
  OldDefinitions definitions_;
  std::optional<PageOwners> owners_;
  std::optional<LongValueSource> long_values_;
  OldCatalog catalog_;
};

}  // namespace jet::recover
