// xsddict recover: an edit in place that was cut short put back from its journal.
#include <CLI/CLI.hpp>
#include <iostream>

#include "CommandSupport.h"
#include "Commands.h"
#include "EditRun.h"
#include "Velmar/MXF/Writing/FileWriting.h"

namespace xsddict {

namespace {

int recover(const Arguments& arguments) {
    const std::string& file = arguments.positional.front();
    try {
        const Velmar::MXF::Writing::Recovery recovery =
            Velmar::MXF::Writing::recoverFile(file.c_str());
        if (!recovery.rolledBack) {
            std::cout << "no journal beside " << file << ": no edit of it was cut short\n";
        }
        sayRecovery(file, recovery, std::cout);
        return 0;
    } catch (const Velmar::SDK::Exceptions::BaseException& e) {
        reportFailure(file, e, arguments.has("--verbose"));
        return kFailed;
    }
}

}  // namespace

void addRecoverCommand(CommandLine& commandLine) {
    commandLine.add(
        "recover",
        "Puts back the old bytes of an edit in place that was cut short (a kill, a power loss), "
        "from the journal the edit left beside the file, and removes the journal. The next set "
        "or apply in place does it too; mxf, regxml and report say interrupted-edit where a "
        "journal is there. A journal that does not verify (torn, changed, or of another file) "
        "is never applied: exit 1, and the journal is left.",
        {1, false, "one MXF file", "FILE.mxf"}, "  xsddict recover file.mxf\n", recover,
        [](CLI::App& command) { addVerboseOption(command); });
}

}  // namespace xsddict
