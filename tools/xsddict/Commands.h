#pragma once

// The commands, each defined in a file of its own: its arguments, options, help and driver.
#include "CommandLine.h"

namespace xsddict {

void addSummaryCommand(CommandLine& commandLine);
void addDumpCommand(CommandLine& commandLine);
void addCheckCommand(CommandLine& commandLine);
void addShowCommand(CommandLine& commandLine);
void addImportRegistersCommand(CommandLine& commandLine);
void addCompileCommand(CommandLine& commandLine);
void addMxfCommand(CommandLine& commandLine);
void addRegXMLCommand(CommandLine& commandLine);
void addReportCommand(CommandLine& commandLine);
void addSetCommand(CommandLine& commandLine);
void addApplyCommand(CommandLine& commandLine);
void addRecoverCommand(CommandLine& commandLine);

}  // namespace xsddict
