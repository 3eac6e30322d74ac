#pragma once
// The cifx commands. Each takes the arguments after its own name, does its
// work, prints its results on stdout and answers an exit code (Output.h);
// failures have printed their one line on stderr.

#include <QString>
#include <QStringList>
#include <span>

#include "hosts/cli/CommandLine.h"

namespace cifx {

// The usage text shown by --help.
QString usageText();

// Options every command accepts.
inline constexpr OptionDef kHelpOption{"help", 'h', false, false};
inline constexpr OptionDef kVerboseOption{"verbose", 0, false, false};

// Parses a command's arguments; on --help prints the usage and answers 0 in
// exitCode, on bad arguments prints the failure and answers 2. Answers true
// when the command should go on.
bool parseCommandArguments(const QStringList& args, std::span<const OptionDef> optionDefs,
                           ParsedArguments& out, int& exitCode);

// cifx filters [--category C] [--json]
int runFilters(const QStringList& args);
// cifx attributes NAME [--json]
int runAttributes(const QStringList& args);
// cifx render NAME [IN] OUT [--set key=value ...] [--rect x,y,w,h] [--progress]
//             [--threads N] [--tile N] [--no-color-management]
int runRender(const QStringList& args);

}  // namespace cifx
