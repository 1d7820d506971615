#include "tools/mdbadm/arguments.h"

#include <CLI/CLI.hpp>
#include <functional>

namespace mdbadm {
namespace {

// The command line being declared, and the call that it will have named.
struct Declaration {
  Program& program;
  CLI::App app;
  std::function<int()> call;
};

// Declares a verb: `declare` binds its own options, on top of the common ones,
// to the fields of an Options, which `run` gets filled.
template <class Options>
void AddVerb(Declaration& declaration, const std::string& name, const std::string& what,
             int (*run)(Program&, const Options&), void (*declare)(CLI::App&, Options&)) {
  CLI::App* verb = declaration.app.add_subcommand(name, what);
  auto options = std::make_shared<Options>();
  verb->add_option("--password", options->password, "password of the database")
      ->capture_default_str();
  verb->add_flag("--json", options->json, "JSON instead of tab-separated lines");
  declare(*verb, *options);
  verb->callback([&declaration, options, run] {
    declaration.call = [&declaration, options, run] { return run(declaration.program, *options); };
  });
}

template <class Options>
void DeclareFile(CLI::App& verb, Options& options) {
  verb.add_option("file", options.file, "the database")->required();
}

template <class Options>
void DeclareKind(CLI::App& verb, Options& options, const std::string& what) {
  verb.add_option_function<std::string>(
          "--kind",
          [&options](const std::string& name) {
            options.kind = name == tools::KindName(Kind::kData) ? Kind::kData : Kind::kTenkai;
          },
          what)
      ->check(CLI::IsMember({"data", "tenkai"}));
}

void AddMakingVerbs(Declaration& declaration) {
  AddVerb<SampleVerbOptions>(
      declaration, "sample", "Make a realistic pair of databases, or add its tables to one", Sample,
      [](CLI::App& verb, SampleVerbOptions& options) {
        verb.add_option("folder", options.folder, "where to write the pair");
        verb.add_option("--data", options.data, "version of the Data database (2 to 27)");
        verb.add_option("--tenkai", options.tenkai, "version of the Tenkai database (2 to 22)");
        verb.add_option("--jobs", options.jobs, "jobs in the Data database")
            ->capture_default_str()
            ->check(CLI::Range(0, 1'000'000));
        verb.add_flag("--now", options.now, "date it today, not on a fixed day");
        verb.add_option("--into", options.into, "an existing database to add the tables to");
        DeclareKind(verb, options, "which tables to add: data or tenkai");
      });
  AddVerb<MakeOptions>(
      declaration, "new", "Make an empty database", New, [](CLI::App& verb, MakeOptions& options) {
        DeclareFile(verb, options);
        verb.add_flag("--general", options.general, "General sort order instead of Japanese");
      });
  AddVerb<MakeOptions>(
      declaration, "password", "Change the password of a database", Password,
      [](CLI::App& verb, MakeOptions& options) {
        DeclareFile(verb, options);
        verb.add_option("--new", options.new_password, "the new one; empty for none")->required();
      });
  AddVerb<MakeOptions>(declaration, "set-version", "Store a version without running any step",
                       SetVersion, [](CLI::App& verb, MakeOptions& options) {
                         DeclareFile(verb, options);
                         verb.add_option("version", options.version, "the version")->required();
                       });
}

void DeclareList(CLI::App& verb, ReadOptions& options) {
  DeclareFile(verb, options);
  verb.add_option("name", options.object, "only this one; all if left out");
  verb.add_flag("--system", options.system, "system tables, too");
}

void AddReadingVerbs(Declaration& declaration) {
  AddVerb<ReadOptions>(declaration, "info", "Format, sort order, protection and stored version",
                       Info, DeclareFile<ReadOptions>);
  AddVerb<ReadOptions>(declaration, "tables", "The tables of a database", Tables,
                       [](CLI::App& verb, ReadOptions& options) {
                         DeclareFile(verb, options);
                         verb.add_flag("--system", options.system, "system tables, too");
                       });
  AddVerb<ReadOptions>(declaration, "columns", "The columns of one table or of all", Columns,
                       DeclareList);
  AddVerb<ReadOptions>(declaration, "indexes", "The indexes of one table or of all", Indexes,
                       DeclareList);
  AddVerb<ReadOptions>(declaration, "props", "Stored properties of tables, columns and queries",
                       Props, DeclareList);
  AddVerb<ReadOptions>(declaration, "queries", "The saved queries and their texts", Queries,
                       [](CLI::App& verb, ReadOptions& options) {
                         DeclareFile(verb, options);
                         verb.add_option("name", options.object, "only this one; all if left out");
                       });
  AddVerb<ReadOptions>(
      declaration, "check",
      "Check the integrity of a database: one line a finding, status 1 if it is not sound", Check,
      DeclareFile<ReadOptions>);
}

template <const char* kSource, const char* kWhat>
void DeclareRows(CLI::App& verb, RowOptions& options) {
  DeclareFile(verb, options);
  verb.add_option(kSource, options.source, kWhat)->required();
  verb.add_option("--limit", options.limit, "at most so many rows");
}

void AddRowVerbs(Declaration& declaration) {
  static constexpr char kTable[] = "table", kTheTable[] = "the table";
  static constexpr char kQuery[] = "query", kTheQuery[] = "its text, or the name of a saved query";
  AddVerb<RowOptions>(declaration, "rows", "The rows of a table in stored order", Rows,
                      DeclareRows<kTable, kTheTable>);
  AddVerb<RowOptions>(declaration, "sql", "The rows of a SELECT or of a saved query", Sql,
                      DeclareRows<kQuery, kTheQuery>);
}

void DeclareLadder(CLI::App& verb, UpgradeOptions& options) {
  verb.add_option("files", options.files, "the databases")->required();
  verb.add_option("--to", options.to, "stop at this version");
  DeclareKind(verb, options, "data or tenkai, where the file name does not say");
}

void AddUpgradeVerbs(Declaration& declaration) {
  AddVerb<UpgradeOptions>(
      declaration, "upgrade", "Bring databases to the latest version, each whole or not at all",
      Upgrade, [](CLI::App& verb, UpgradeOptions& options) {
        DeclareLadder(verb, options);
        CLI::Option* dry =
            verb.add_flag("--dry-run", options.dry_run, "run all steps, keep nothing");
        verb.add_flag("--keep-partial", options.keep_partial,
                      "keep what completed operations wrote when a step fails")
            ->excludes(dry);
        verb.add_option("--backup", options.backup, "first copy each file into this folder")
            ->excludes(dry);
      });
  AddVerb<UpgradeOptions>(declaration, "plan",
                          "The steps that an upgrade would run, and what stands in their way", Plan,
                          DeclareLadder);
  AddVerb<RepairOptions>(declaration, "repair-reinforcements",
                         "Set the transfer names of reinforcements, as the step to version 15 does",
                         RepairReinforcements, DeclareFile<RepairOptions>);
  AddVerb<RepairOptions>(declaration, "repair-flex",
                         "Convert the names of flexible ducts, as the step to version 16 does",
                         RepairFlex, DeclareFile<RepairOptions>);
  AddVerb<RepairOptions>(declaration, "english", "Fill in the English shape names", English,
                         DeclareFile<RepairOptions>);
}

void AddDiffVerb(Declaration& declaration) {
  AddVerb<DiffOptions>(
      declaration, "diff", "Compare two databases by content; status 1 if they differ", Diff,
      [](CLI::App& verb, DiffOptions& options) {
        verb.add_option("a", options.a, "a database")->required();
        verb.add_option("b", options.b, "another")->required();
        verb.add_option("--rows", options.rows, "show so many different rows of a table")
            ->capture_default_str();
      });
}

}  // namespace

int RunVerb(Program& program, int argc, char** argv) {
  Declaration declaration{
      program,
      CLI::App(
          "Maintenance of the Data and Tenkai databases.\n"
          "Output is tab-separated UTF-8; \\t, \\n, \\r and \\\\ stand for those characters in "
          "a text and \\N for Null.\nExit status: 0 done, 1 failed, 2 wrong usage.",
          "mdbadm"),
      {}};
  declaration.app.require_subcommand(1);
  AddMakingVerbs(declaration);
  AddReadingVerbs(declaration);
  AddRowVerbs(declaration);
  AddUpgradeVerbs(declaration);
  AddDiffVerb(declaration);
  try {
    declaration.app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return declaration.app.exit(error) == 0 ? kDone : kUsage;
  }
  return declaration.call();
}

}  // namespace mdbadm
