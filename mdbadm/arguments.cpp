#include "mdbadm/arguments.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <functional>

#include "mdbadm/help.h"
#include "mdbadm/output.h"
#include "mdbadm/reference.h"
#include "mdbadm/usage.h"
#include "samples/sample.h"
#include "upgrade/ladders.h"
#include "version.h"

namespace mdbadm {
namespace {

constexpr char kVerbsTopic[] = "verbs";

// The command line being declared, and the call that it will have named.
struct Declaration {
  Program& program;
  CLI::App app;
  std::function<ExitCode()> call;
};

// Declares a verb: `declare` binds its own options, on top of the common ones,
// to the fields of an Options, which `run` gets filled.
template <class Options>
void AddVerb(Declaration& declaration, const std::string& name, const std::string& what,
             ExitCode (*run)(Program&, const Options&), void (*declare)(CLI::App&, Options&)) {
  CLI::App* verb = declaration.app.add_subcommand(name, what);
  auto options = std::make_shared<Options>();
  verb->add_option("--password", options->password, "password of the database")
      ->type_name("PASSWORD")
      ->capture_default_str();
  verb->add_flag("--json", options->json, "JSON instead of tab-separated lines");
  declare(*verb, *options);
  verb->callback([&declaration, options, run] {
    declaration.program.json = options->json;
    declaration.call = [&declaration, options, run] { return run(declaration.program, *options); };
  });
}

template <class Options>
void DeclareFile(CLI::App& verb, Options& options) {
  verb.add_option("file", options.file, "the database")->type_name("FILE")->required();
}

template <class Options>
void DeclareKind(CLI::App& verb, Options& options, const std::string& what) {
  verb.add_option_function<std::string>(
          "--kind",
          [&options](const std::string& name) {
            options.kind = name == db::NameOf(Kind::kData) ? Kind::kData : Kind::kTenkai;
          },
          what)
      ->type_name("KIND")
      ->check(CLI::IsMember({"data", "tenkai"}));
}

void DeclareSampleVersion(CLI::App& verb, const char* option, std::optional<std::int16_t>& version,
                          Kind kind) {
  verb.add_option(option, version,
                  fmt::format("version of {} ({} to {})", db::FileNameOf(kind),
                              samples::kBaseVersion, upgrade::LatestVersion(kind)))
      ->type_name("N");
}

void AddMakingVerbs(Declaration& declaration) {
  AddVerb<SampleVerbOptions>(
      declaration, "sample", "Make a realistic pair of databases, or add its tables to one", Sample,
      [](CLI::App& verb, SampleVerbOptions& options) {
        verb.add_option("folder", options.folder, "where to write the pair")->type_name("FOLDER");
        DeclareSampleVersion(verb, "--data", options.data, Kind::kData);
        DeclareSampleVersion(verb, "--tenkai", options.tenkai, Kind::kTenkai);
        verb.add_option("--jobs", options.jobs, "jobs in the Data database")
            ->type_name("N")
            ->capture_default_str()
            ->check(CLI::Range(0, 1'000'000));
        verb.add_flag("--now", options.now, "date it today, not on a fixed day");
        verb.add_option("--into", options.into, "an existing database to add the tables to")
            ->type_name("FILE");
        DeclareKind(verb, options, "which tables to add");
      });
  AddVerb<MakeOptions>(
      declaration, "new", "Make an empty database", New, [](CLI::App& verb, MakeOptions& options) {
        DeclareFile(verb, options);
        verb.add_flag("--general", options.general, "General sort order instead of Japanese");
      });
  AddVerb<MakeOptions>(declaration, "password", "Change the password of a database", Password,
                       [](CLI::App& verb, MakeOptions& options) {
                         DeclareFile(verb, options);
                         verb.add_option("--new", options.new_password,
                                         "the new one; empty for none")
                             ->type_name("PASSWORD")
                             ->required();
                       });
  AddVerb<MakeOptions>(
      declaration, "set-version", "Store a version without running any step", SetVersion,
      [](CLI::App& verb, MakeOptions& options) {
        DeclareFile(verb, options);
        verb.add_option("version", options.version, "the version")->type_name("N")->required();
      });
}

template <typename Options>
void DeclareJobs(CLI::App& verb, Options& options) {
  verb.add_option("--jobs", options.jobs,
                  "threads at most, 1 for none but the first; else as many as there are cores")
      ->type_name("N")
      ->check(CLI::PositiveNumber);
}

void DeclareList(CLI::App& verb, ReadOptions& options) {
  DeclareFile(verb, options);
  verb.add_option("name", options.object, "only this one; all if left out")->type_name("NAME");
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
  AddVerb<ReadOptions>(declaration, "queries", "The saved queries, their kinds and their texts",
                       Queries, [](CLI::App& verb, ReadOptions& options) {
                         DeclareFile(verb, options);
                         verb.add_option("name", options.object, "only this one; all if left out")
                             ->type_name("NAME");
                       });
  AddVerb<ReadOptions>(
      declaration, "check",
      "Check the integrity of a database: one line a finding, status 1 if it is not sound", Check,
      [](CLI::App& verb, ReadOptions& options) {
        DeclareFile(verb, options);
        DeclareJobs(verb, options);
      });
}

template <const char* kSource, const char* kWhat>
void DeclareRows(CLI::App& verb, RowOptions& options) {
  DeclareFile(verb, options);
  verb.add_option(kSource, options.source, kWhat)->type_name("TEXT")->required();
  verb.add_option("--limit", options.limit, "at most so many rows")->type_name("N");
  CLI::Option* csv = verb.add_flag("--csv", options.csv, "CSV instead of tab-separated lines")
                         ->excludes(verb.get_option("--json"));
  verb.add_flag("--bom", options.bom, "begin the CSV with a byte order mark")->needs(csv);
}

void AddRowVerbs(Declaration& declaration) {
  static constexpr char kTable[] = "table", kTheTable[] = "the table";
  static constexpr char kQuery[] = "query", kTheQuery[] = "its text, or the name of a saved query";
  AddVerb<RowOptions>(declaration, "rows", "The rows of a table in stored order", Rows,
                      DeclareRows<kTable, kTheTable>);
  AddVerb<RowOptions>(declaration, "sql", "The rows of a SELECT or of a saved query", Sql,
                      [](CLI::App& verb, RowOptions& options) {
                        DeclareRows<kQuery, kTheQuery>(verb, options);
                        verb.add_option("--set", options.set,
                                        "the value of a parameter; again for another")
                            ->type_name("NAME=VALUE")
                            ->expected(1)
                            ->take_all();
                      });
  AddVerb<DumpOptions>(declaration, "dump", "Write the database as SQL text for sqlite3", Dump,
                       [](CLI::App& verb, DumpOptions& options) {
                         DeclareFile(verb, options);
                         verb.add_option("tables", options.tables, "only these; all if left out")
                             ->type_name("TABLE");
                       });
}

void DeclareLadder(CLI::App& verb, UpgradeOptions& options) {
  verb.add_option("files", options.files, "the databases")->type_name("FILE")->required();
  verb.add_option("--to", options.to, "stop at this version")->type_name("N");
  DeclareKind(verb, options, "where the file name does not say");
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
            ->type_name("FOLDER")
            ->excludes(dry);
        verb.add_flag("--check", options.check,
                      "refuse a file that is not sound, before its first step");
        verb.add_flag("--summary", options.summary, "a line a file instead of one a step");
        verb.add_flag("--stop-on-error", options.stop_on_error,
                      "leave the files behind one that fails alone");
      });
  AddVerb<UpgradeOptions>(declaration, "plan",
                          "Whether a file is sound, the steps that an upgrade would run, and what "
                          "stands in their way",
                          Plan, [](CLI::App& verb, UpgradeOptions& options) {
                            DeclareLadder(verb, options);
                            verb.add_flag("--no-check", options.no_check,
                                          "do not look whether the file is sound");
                          });
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
        verb.add_option("a", options.a, "a database")->type_name("FILE")->required();
        verb.add_option("b", options.b, "another")->type_name("FILE")->required();
        verb.add_option("--rows", options.rows, "show so many different rows of a table")
            ->type_name("N")
            ->capture_default_str();
      });
}

void AddRecoverVerb(Declaration& declaration) {
  AddVerb<RecoverVerbOptions>(
      declaration, "recover", "Save what a damaged database holds into a new one", Recover,
      [](CLI::App& verb, RecoverVerbOptions& options) {
        verb.add_option("file", options.file, "the damaged database")
            ->type_name("FILE")
            ->required();
        verb.add_option("new", options.new_file, "the new one, which must not be there yet")
            ->type_name("NEW")
            ->required();
        DeclareKind(verb, options, "what it was; else found out from what is left");
        verb.add_flag("--dry-run", options.dry_run, "report, and keep nothing");
        verb.add_option("--report", options.report, "write the report into this file, too")
            ->type_name("REPORT");
        DeclareJobs(verb, options);
      });
}

void AddCompactVerb(Declaration& declaration) {
  AddVerb<CompactVerbOptions>(
      declaration, "compact", "Write a sound database anew, without the holes in it", Compact,
      [](CLI::App& verb, CompactVerbOptions& options) {
        DeclareFile(verb, options);
        CLI::Option* file =
            verb.add_option("new", options.new_file, "the new one, which must not be there yet")
                ->type_name("NEW");
        CLI::Option* in_place =
            verb.add_flag("--in-place", options.in_place, "put the new one in the place of FILE")
                ->excludes(file);
        verb.add_option("--backup", options.backup, "first copy FILE into this folder")
            ->type_name("FOLDER")
            ->needs(in_place);
        DeclareJobs(verb, options);
      });
}

// The verbs below describe the command line itself, and are declared last.

std::string HelpOn(const CLI::App& app, const std::vector<Topic>& topics, const std::string& name) {
  if (name == kVerbsTopic) return Laid(VerbList(app));
  for (const Topic& topic : topics) {
    if (topic.name == name) return topic.title + "\n\n" + Laid(topic.text);
  }
  if (!name.empty()) return app.get_subcommand(name)->help("mdbadm");
  std::string list = fmt::format("{}\tthe verbs and what they do\n", kVerbsTopic);
  for (const Topic& topic : topics) list += topic.name + '\t' + topic.title + '\n';
  return "Topics; a verb is one, too:\n\n" + Laid(list);
}

void AddHelpVerb(Declaration& declaration) {
  const std::vector<Topic> topics = Topics();
  std::vector<std::string> names{kVerbsTopic};
  for (const Topic& topic : topics) names.push_back(topic.name);
  for (const CLI::App* verb : declaration.app.get_subcommands(nullptr)) {
    names.push_back(verb->get_name());
  }
  CLI::App* verb = declaration.app.add_subcommand("help", "Explain a topic or a verb");
  auto name = std::make_shared<std::string>();
  verb->add_option("topic", *name, "the topics if left out")
      ->type_name("TOPIC")
      ->check(CLI::IsMember(names));
  verb->callback([&declaration, name, topics] {
    declaration.call = [&declaration, name, topics] {
      Print(HelpOn(declaration.app, topics, *name));
      return ExitCode::kDone;
    };
  });
}

// For building packages; in no list of verbs.
void AddReferenceVerb(Declaration& declaration) {
  CLI::App* verb = declaration.app.add_subcommand("reference", "The manual page or completion");
  verb->group("");
  auto what = std::make_shared<std::string>();
  verb->add_option("what", *what)->required()->check(CLI::IsMember({"man", "bash"}));
  verb->callback([&declaration, what] {
    declaration.call = [&declaration, what] {
      Print(*what == "man" ? ManPage(declaration.app) : BashCompletion(declaration.app));
      return ExitCode::kDone;
    };
  });
}

}  // namespace

ExitCode RunVerb(Program& program, int argc, char** argv) {
  Declaration declaration{
      program,
      CLI::App("Maintenance of the Data and Tenkai databases, without a window.\n"
               "`mdbadm VERB --help` explains a verb, `mdbadm help` lists topics.",
               "mdbadm"),
      {}};
  declaration.app.require_subcommand(1);
  // Not on Windows either: a path may start with a slash, or with two.
  declaration.app.allow_windows_style_options(false);
  declaration.app.set_version_flag("--version", fmt::format("mdbadm {}", kProgramVersion),
                                   "Print the version and exit");
  AddMakingVerbs(declaration);
  AddReadingVerbs(declaration);
  AddRowVerbs(declaration);
  AddUpgradeVerbs(declaration);
  AddDiffVerb(declaration);
  AddRecoverVerb(declaration);
  AddCompactVerb(declaration);
  AddHelpVerb(declaration);
  AddReferenceVerb(declaration);
  try {
    declaration.app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    // Help and the version come this way, too.
    if (error.get_exit_code() == 0) {
      declaration.app.exit(error);
      return ExitCode::kDone;
    }
    program.json = std::any_of(argv, argv + argc,
                               [](const char* word) { return std::string_view(word) == "--json"; });
    throw UsageError(WrongUsage(declaration.app, error));
  }
  return declaration.call();
}

}  // namespace mdbadm
