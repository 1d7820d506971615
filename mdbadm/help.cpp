#include "mdbadm/help.h"

#include <fmt/format.h>

#include <algorithm>

#include "jet/check/check.h"
#include "mdbadm/exit_code.h"
#include "mdbadm/failure.h"
#include "upgrade/ladders.h"

namespace mdbadm {
namespace {

constexpr std::size_t kWidth = 79;

constexpr std::string_view kOutput = R"(
Output is UTF-8, a line of names first, then one line a row, cells separated by tabs. In a cell

\t \n \r \\	stand for tab, line feed, carriage return and backslash
\N	stands for Null; an empty cell is an empty text
yes no	stand for Yes/No values

With --csv, `rows` and `sql` print CSV: lines end with CR LF, an empty text is "" and Null has nothing in its cell; --bom puts a byte order mark first. `dump` prints SQL text.

With --json every other verb prints one JSON value: an array of objects where there is a list, else an object. Errors go to standard error, one a line, as a sentence or, with --json, as an object with "error" (see "errors"), "file", "step" and "text". On a terminal, upgrade shows there, too, which step runs.
)";

constexpr std::string_view kErrorsBegin = R"(
With --json a failure carries one of these words as "error". They do not change; new ones may come.
)";

constexpr std::string_view kErrorsEnd = R"(
The text begins with the provider's number where the provider has one, as the window shows it.
)";

constexpr std::string_view kExitCodesEnd = R"(
These numbers do not change; new ones may come. For several files the code is 0 if all were done, 3 if some were, else that of the failures where they agree and 1 where they do not.
)";

constexpr std::string_view kFindings = R"(
`check` prints a line a finding: a word, a code, then place and text. The word is

problem	damage; the exit code is 1
warning	untidy but harmless
unusual	sound, but not as the original engine writes it; tell the developers
not checked	what could not be looked into, because of damage or as a text has no proven sort key

Codes do not change; new ones may come. Texts may change. The codes are

)";

constexpr std::string_view kPasswords = R"(
Both databases carry the product's password, which is what every verb tries unless --password says another. A database without a password accepts any. `password FILE --new PW` changes it and masks the stored rights anew; an empty PW takes it off.

The password of this format does not protect the data: anyone who has the file can read them. It is not a secret.
)";

constexpr std::string_view kLocks = R"(
A verb that reads shares the file with others that read. It is refused while another program writes. A verb that changes opens the file alone: on Linux with flock and a lock over its whole range, on Windows without sharing. Where the file is taken, nothing is done and the exit code is 4.

Programs that lock through a file beside the database, with the ending .ldb, are seen: while one holds it, the database is in use, and the message names that file. A .ldb that no program is seen to hold was left behind by a crash, or belongs to a program on a machine whose locks do not show here: a warning names it, and the verb goes on.

Not seen are programs that take no locks, and locks that a network share does not pass on. End such programs first.

Locks end with their process. A killed mdbadm blocks no other program.
)";

constexpr std::string_view kRecovery = R"(
A verb that changes a file changes it whole or not at all: after an error, a full disk, a kill or a power cut the file holds the state before the command or the state after it. The next opening by mdbadm or db-update finishes a save that was complete and drops one that was not; the version that `info` shows says which it was. Opening to read writes nothing.

An upgrade that fails leaves the file as it was and can be tried again. With --keep-partial, what completed operations wrote stays, as it does after a failure in the window; most steps cannot run again then.

in_use	end the program that is named, then run the command again
needs_repair	another program was interrupted while it wrote; restore a copy, or save everything into a new file with `recover`; reading works
damaged	`check` lists what is wrong; restore a copy, or save what is left with `recover` (see "damaged")
unfinished	check the disk; the next opening by a verb that changes the file, or by db-update, finishes the save
uncertain	check the disk; the next opening, by the same, finishes or drops the save: the version shows which
disk_full	make room, as much as the changes again, a few MB for a ladder, the whole file for `compact`
too_large	`compact` takes the holes out; what is larger without them cannot be kept in this format

Keep copies: `upgrade --backup FOLDER` writes one before it begins, with the time in its name. To go back, put the copy in the place of the file while no program uses it.
)";

constexpr std::string_view kDamaged = R"(
`recover FILE NEW` reads a file that `check` finds damaged, or that nothing opens any more, and saves what it still holds into NEW. FILE is never written to. NEW is made under a temporary name beside it, checked, and renamed.

Every page is read for what it is, whether or not the catalog or a map leads to it. Rows that are whole are saved, in the order they stand in; of a row whose memo or picture is lost, the other fields. No value is made up. Indexes are built anew.

The report has a line a table:

rows	rows with all their values
partly	rows without a memo or a picture that is lost, or of which only the bytes are left
lost	rows that were there and could not be read
doubtful	of those saved, rows from pages that show damage, or that nothing but the page itself gives to the table; look at them
beside	of those saved, rows that break a rule of the table; they are in a table beside it, with _重複 (a key that stands twice), _不足 (Null where a value is needed) or _孤児 (no row to refer to) behind its name
definition	where the columns are from: file, columns (only they could be read, the indexes are lost), known (the same table of a version that we know), none
named	where the name is from: file, other (another table of the file holds it), known, none: then it is 復旧 and the number of a page

Where the definition of a table is lost and the kind of the file is known, or shows in what is left, the definitions of its version stand in, if all rows fit exactly one. Say --kind where the report shows tables of the kind as unnamed. Rows that fit none keep their bytes, and the texts in them, in a table 復旧_PAGE.

A file that is sound is only written anew, without the holes in it, by `compact` (see "bloated").

The format has no checksums: bytes that were changed to others that make sense are not found out. Compare with a copy: `diff COPY NEW`.

The exit code is 0 if everything is there, 5 if NEW was made and something is lost or doubtful, 1 if nothing could be saved; then there is no NEW. If page 0 is lost, so are the password and, of an encoded file, the key to all other pages; NEW gets the password of --password.
)";

constexpr std::string_view kBloated = R"(
Deleted rows and dropped tables leave holes, of which new rows use some. `compact FILE NEW` writes a sound file anew without them; `compact FILE --in-place` puts the new file in the place of the old one, with --backup after copying that.

All that is stored stays: rows in the order they stand in (steps address rows by position; other programs sort them by key), columns, indexes, properties, relationships, queries, rights, counters, dates, password, encoding, and what other programs have put there, forms and reports byte for byte. Only the pages differ, and with them the ids of tables. Done again, not a byte changes.

A file that `check` finds problems in is refused: `recover` is for those. NEW is written under a temporary name beside it, with .compacting at its end, synced, checked, compared in what it holds, and renamed. Until then nothing is touched: after an error, a full disk, a kill or a power cut FILE is as it was, or the new one. A temporary file that a kill left behind is written over the next time, and can be deleted.

On the disk there must be room for the new file beside the old one, and for the copy.
)";

constexpr std::string_view kScripts = R"(
One command for all sites, with copies first and a line a file:

  mdbadm upgrade --summary --backup /var/backups/mdb \
      /srv/*/Data.mdb /srv/*/展開Data.mdb
  case $? in
    0) ;;
    4) echo "in use: try again tonight" ;;
    *) echo "look at the summary" ;;
  esac

A file that fails does not keep the others from their turn, unless --stop-on-error says so; --dry-run shows beforehand which would. The name of a file says of which kind it is; for other names say --kind.

A check of all files, with the findings as JSON:

  for file in /srv/*/Data.mdb; do mdbadm check --json "$file"; done
)";

constexpr std::string_view kQueries = R"(
`sql FILE QUERY` prints the rows of a query: SELECT, UNION [ALL] or TRANSFORM ... PIVOT as a text, or the name of a saved query. Nothing is ever changed: of an update, append, delete or make-table query it says what it would do.

A name that is not a column is a parameter: --set NAME=VALUE, again for each; brackets do not count, and nothing behind the sign is Null. On a terminal the others are asked for.

tables	INNER, LEFT and RIGHT JOIN in any nesting, saved queries, (SELECT ...) AS x
values	'text' or "text", #2010-01-31 13:05#, True, Null, [a name], [Table].[Column]
operators	^ * / \ Mod + - & = <> < <= > >= Like Between In Is, Not And Or Xor Eqv Imp
queries	EXISTS (SELECT ...), IN, ANY, SOME and ALL (SELECT ...), one value (SELECT ...)
Like	* any characters, ? one, # a digit, [a-c] one of them, [!a-c] none of them
groups	Count Sum Avg Min Max First Last StDev StDevP Var VarP
choice	IIf Switch Choose Nz IsNull IsNumeric IsDate IsError
conversion	CBool CByte CInt CLng CCur CSng CDbl CDec CDate CVDate CStr Val Str Hex Oct
numbers	Abs Int Fix Round Sgn Sqr Exp Log Sin Cos Tan Atn Rnd Partition
dates	Date Now Time Timer Year Month Day Hour Minute Second Weekday DatePart DateAdd DateDiff DateSerial TimeSerial DateValue TimeValue MonthName WeekdayName
texts	Left Right Mid Len Trim LTrim RTrim UCase LCase StrReverse InStr InStrRev Replace StrComp Space String StrConv Asc AscW Chr ChrW Format

Texts compare by the sort order of the file: case, width and kana do not matter. Without ORDER BY the order of rows is open.
)";

std::string ExitCodes() {
  std::string text;
  for (const ExitCodeMeaning& row : kExitCodeMeanings) {
    text += fmt::format("{}\t{}\n", static_cast<int>(row.code), row.meaning);
  }
  return text.append(kExitCodesEnd);
}

std::string Errors() {
  std::string text(kErrorsBegin);
  text += '\n';
  for (const Reason& reason : Reasons()) {
    text += fmt::format("{}\t{}\n", reason.word, reason.meaning);
  }
  return text.append(kErrorsEnd);
}

std::string Findings() {
  std::string text(kFindings);
  std::string_view between;
  for (const jet::Finding::Code code : jet::FindingCodes()) {
    text.append(between).append(jet::NameOf(code));
    between = " ";
  }
  return text += '\n';
}

std::string Kinds() {
  std::string text = "\n";
  for (const db::Kind kind : db::kKinds) {
    text += fmt::format("{}\t--kind {}, latest version {}\n", db::FileNameOf(kind),
                        db::NameOf(kind), upgrade::LatestVersion(kind));
  }
  return text + R"(
The exact name of a file says of which kind it is. For a file of another name say --kind, or the exit code is 2 and nothing is done.

A ladder begins at the stored version, rounded half to even, and stores the version it reached at its very end. `info` shows the stored version, `plan` the steps ahead and what stands in their way. `set-version` stores a number and runs nothing; a wrong one makes steps run twice or not at all.
)";
}

// Appends `words` to `page`, each line after the first indented.
void Fill(std::string& page, std::string_view words, std::size_t column, std::size_t indent) {
  bool first = true;
  std::size_t at = 0;
  while (at < words.size()) {
    const std::size_t end = std::min(words.find(' ', at), words.size());
    const std::size_t width = end - at;
    if (!first && column + 1 + width > kWidth) {
      page += '\n' + std::string(indent, ' ');
      column = indent;
    } else if (!first) {
      page += ' ';
      ++column;
    }
    page += words.substr(at, width);
    column += width;
    first = false;
    at = end + 1;
  }
  page += '\n';
}

}  // namespace

std::vector<Topic> Topics() {
  return {
      {"output", "Output", std::string(kOutput)},
      {"exit-codes", "Exit codes", ExitCodes()},
      {"errors", "Errors", Errors()},
      {"findings", "Findings", Findings()},
      {"kinds", "Kinds and versions", Kinds()},
      {"passwords", "Passwords", std::string(kPasswords)},
      {"locks", "Locks", std::string(kLocks)},
      {"recovery", "Recovery", std::string(kRecovery)},
      {"damaged", "Damaged files", std::string(kDamaged)},
      {"bloated", "Bloated files", std::string(kBloated)},
      {"sql", "Queries", std::string(kQueries)},
      {"scripts", "Scripts", std::string(kScripts)},
  };
}

std::vector<std::vector<std::string>> Blocks(std::string_view text) {
  std::vector<std::vector<std::string>> blocks(1);
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    if (!line.empty()) {
      blocks.back().emplace_back(line);
    } else if (!blocks.back().empty()) {
      blocks.emplace_back();
    }
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  if (blocks.back().empty()) blocks.pop_back();
  return blocks;
}

std::string Laid(std::string_view text) {
  std::string page;
  for (const std::vector<std::string>& block : Blocks(text)) {
    if (!page.empty()) page += '\n';
    std::size_t widest = 0;
    for (const std::string& line : block) {
      const std::size_t tab = line.find('\t');
      if (tab != std::string::npos) widest = std::max(widest, tab);
    }
    const std::size_t indent = widest + 4;
    for (const std::string& line : block) {
      const std::size_t tab = line.find('\t');
      if (tab != std::string::npos) {
        page += "  " + line.substr(0, tab) + std::string(widest - tab + 2, ' ');
        Fill(page, std::string_view(line).substr(tab + 1), indent, indent);
      } else if (line.starts_with("  ")) {
        page += line + '\n';
      } else {
        Fill(page, line, 0, 0);
      }
    }
  }
  return page;
}

}  // namespace mdbadm
