// What --help says.
#pragma once

namespace idlc {

inline constexpr const char *help_of_compile =
    R"(usage: idlc [--check] [--page PAGE.md] [--lua FILE.lua] DESCRIPTION.idl...
       idlc fmt [--check] DESCRIPTION...
       idlc compat [OPTION]... OLD NEW
       idlc help [COMMAND]

Without a command: writes <package>.h, <package>_messages.h, <package>.cpp and
<package>_catalogue.cpp beside each description. Name all packages that share a
bus in one call: identifiers must differ across them. Nothing is written unless
every description is accepted.

  --check         write nothing; name each file that is not what it would be
  --page PAGE.md  write a page of all messages, too
  --lua FILE.lua  write all messages as data for the Wireshark dissector, too
  --max-errors N  errors that are shown (20)
  --color WHEN    auto: on a terminal, unless NO_COLOR is set; always; never

fmt      bring descriptions into their format
compat   compare two versions, and tell what breaks peers or programs

Exit status: 0 done; 1 a faulty description, a file that cannot be read or
written, or with --check a file that differs; 2 a wrong call.

docs/idl.md is the language.
)";

inline constexpr const char *help_of_fmt =
    R"(usage: idlc fmt [--check] DESCRIPTION...

Brings descriptions into their one format. A directory stands for all descriptions
below it. Comments stay, and what idlc makes of a description stays the same. A
faulty one is left as it is.

  --check         write nothing; tell the first line of each that is not in the format
  --max-errors N  errors of a description that are shown (20)
  --color WHEN    auto: on a terminal, unless NO_COLOR is set; always; never

Exit status: 0 done; 1 a faulty description, one that cannot be read or written, or
with --check one that is not in the format; 2 a wrong call.
)";

inline constexpr const char *help_of_compat =
    R"(usage: idlc compat [OPTION]... OLD NEW
       idlc compat [OPTION]... --revision REV NEW...

Compares two versions of descriptions, and tells of each change the rule it falls
under, what a peer with the old version sees of one with the new, and the other way
round, and what to do. A version is a description, a directory of descriptions, or
REV:PATH, either of them in a revision of the git repository that stands around the
current directory. With --revision the old version is what NEW was in REV.

  --strict LEVEL    what is a break. wire (usual): what peers misread, refuse or miss;
                    api: also what programs must be compiled anew for;
                    all: everything but additions
  --labels OLD NEW  labels files of both versions, by which slots that were exchanged
                    or mean something else are found
  --json            one JSON object
  --max-errors N    errors of a version that are shown (20)
  --color WHEN      auto: on a terminal, unless NO_COLOR is set; always; never

Exit status: 0 no break; 1 a break, or a version that cannot be read; 2 a wrong call.

docs/evolution.md explains the rules.
)";

} // namespace idlc
