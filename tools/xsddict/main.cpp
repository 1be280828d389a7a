// xsddict: inspects dictionaries of SMPTE registered metadata and reads, reports on and edits
// MXF files through them. Built on the library's installed interface alone, like any program of
// its users; each command is a file of its own, wired here.
#include <iostream>

#include "CommandSupport.h"
#include "Commands.h"
#include "Velmar/SDK/MetaMetadata/Loading/CompiledDictionary.h"
#include "Velmar/SDK/MetaMetadata/Loading/DictionaryFiles.h"
#include "Velmar/SDK/Utils/StringConversion.h"

#ifndef XSDDICT_VERSION
#define XSDDICT_VERSION "unknown"
#endif

namespace {

const char* const kHelp =
    "usage: xsddict COMMAND [OPTIONS] DICTIONARY [ARGUMENTS]\n"
    "       xsddict mxf [--dictionary DICTIONARY]... [--json|--jsonl] [--walk] [-j N]\n"
    "                   [--fail-on error|warning|info] FILE.mxf|DIR...\n"
    "       xsddict regxml [--dictionary DICTIONARY]... [-o OUT.xml] [--root UUID]\n"
    "                      [--partition auto|header|footer|body] FILE.mxf\n"
    "       xsddict report [--dictionary DICTIONARY]... [-o OUT] [-j N] FILE.mxf|DIR...\n"
    "       xsddict set [--dictionary DICTIONARY]... (-o OUT.mxf | --in-place)\n"
    "                   FILE.mxf ['PATH=VALUE']... [--remove PATH]... [--add 'PATH=SET']...\n"
    "       xsddict apply [--dictionary DICTIONARY]... (-o OUT.mxf | --in-place)\n"
    "                     FILE.mxf DOC.xml|-\n"
    "\n"
    "Loads a dictionary of SMPTE registered metadata, written as an XML Schema (FILE.xsd) or\n"
    "compiled (FILE.xsdc; the two are told apart by content), and reports what it holds; reads\n"
    "MXF files through it, or through the dictionary built in from the SMPTE registers.\n"
    "\n"
    "commands:\n"
    "  summary FILE.xsd         counts of elements by kind, sets, attributes (per set,\n"
    "                           inherited ones included), local tags and default values\n"
    "  dump FILE.xsd            everything loaded, as JSON\n"
    "  check FILE.xsd           what an author would want to know, each with its file and\n"
    "                           line: labels, local tags or set keys given twice, references\n"
    "                           to no set, members naming no element, local members, sets\n"
    "                           without a UL Designator\n"
    "  show FILE.xsd WHAT       one element or set, found by XML tag name, name, universal\n"
    "                           label or key (06.0e.2b.34...), or local tag (3c.0a)\n"
    "  import-registers DIR -o FILE.xsd\n"
    "                           a dictionary made from the SMPTE register snapshots in DIR\n"
    "                           (Elements.xml, Groups.xml, Types.xml), loaded back to check\n"
    "                           it; prints what it holds and what could not be expressed\n"
    "  compile DICTIONARY -o FILE.xsdc\n"
    "                           the dictionary in compiled form, which loads in a fraction of\n"
    "                           the schema's time\n"
    "  mxf FILE.mxf|DIR...      MXF files' partitions and header metadata, every set and item\n"
    "                           read through the dictionary in tree order from the Preface,\n"
    "                           and what is wrong with each file; a directory is read for its\n"
    "                           *.mxf files, recursively. Several files: one output each, in\n"
    "                           order (JSON Lines with --json)\n"
    "  regxml FILE.mxf          the file's header metadata as a RegXML document: the Preface\n"
    "                           and the sets it owns, every value in its registered type's\n"
    "                           form; findings go to standard error as mxf prints them\n"
    "  report FILE.mxf|DIR...   an HTML page of each file, which stands alone: its summary,\n"
    "                           a map of its bytes with its findings marked, its findings and\n"
    "                           its header metadata as a tree (the file is walked as with\n"
    "                           mxf --walk). One file: the page goes to -o FILE.html, else to\n"
    "                           standard output; a directory or several files: -o names a\n"
    "                           folder that gets a page per file and an index.html\n"
    "  set FILE.mxf 'PATH=VALUE'...\n"
    "                           changes the file's header metadata: each item a path names\n"
    "                           set to a value in its text form (as regxml writes it; a\n"
    "                           record or list as mxf --json gives it). A path names sets by\n"
    "                           name or InstanceUID, then sets below by item or name, [n]\n"
    "                           the n-th, and last an item by name or local tag:\n"
    "                           'Preface/Identification[0]/Application Name=Archive copy'.\n"
    "                           Removals and additions are made first, in the order given\n"
    "  apply FILE.mxf DOC.xml   the file's header metadata replaced by a RegXML document's\n"
    "                           (as regxml writes it, edited); - reads it from standard input\n"
    "  recover FILE.mxf         an edit in place that was cut short (a kill, a power loss) put\n"
    "                           back from the journal it left beside the file\n"
    "\n"
    "options:\n"
    "  --json                   summary, check and mxf: write JSON (mxf: a line a file where\n"
    "                           there are several)\n"
    "  --jsonl                  mxf: write JSON Lines, a line a file, however many files\n"
    "  --dictionary DICTIONARY  mxf and regxml: the dictionary to read with (default: the\n"
    "                           built-in one); given again, each adds to those before it\n"
    "                           (clashes are reported), and +DICTIONARY keeps the built-in\n"
    "                           one underneath\n"
    "  --root UUID              regxml: the set of this InstanceUID as the root, not the\n"
    "                           Preface\n"
    "  --partition WHICH        regxml: whose header metadata to write: auto (the default: the\n"
    "                           first closed complete copy, as mxf reads and set and apply\n"
    "                           edit), the header partition's, the footer's (or the last that\n"
    "                           has some), or the first body partition's\n"
    "  -j N                     mxf and report: read on N threads (default: one per core)\n"
    "  --fail-on SEVERITY       mxf, regxml and report: the mildest severity of finding that "
    "makes\n"
    "                           the exit status 3: error, warning (the default) or info\n"
    "  --walk                   mxf (set and apply in place: of the file written, whatever the\n"
    "                           edit): also step through every KLV of every partition by its\n"
    "                           length (never reading essence), refusing a fault anywhere and\n"
    "                           checking the partition chain, the random index pack and the\n"
    "                           index tables\n"
    "  --documentation          dump and show: also load each declaration's documentation\n"
    "  --length-description     dump and show: also load each \"Length\" annotation\n"
    "  -o FILE                  import-registers and compile: the dictionary to write;\n"
    "                           regxml: the document (written whole or not at all);\n"
    "                           report: the page, or the folder of pages\n"
    "                           set and apply: the MXF file to write (a new file, written\n"
    "                           whole or not at all; essence and index tables copied as they\n"
    "                           are, moved where the header metadata needs more room)\n"
    "  --in-place               set and apply: change the file itself, spending the fill\n"
    "                           after its header metadata; refused, with the room needed,\n"
    "                           where it does not fit\n"
    "  --remove PATH            set: remove the item or the sets (with what they hold) a\n"
    "                           path names\n"
    "  --add 'PATH=SET'         set: add a set of that kind to the strong-reference item a\n"
    "                           path names (its InstanceUID is printed)\n"
    "  --note TEXT              compile: a note kept with the dictionary (its source)\n"
    "  --verbose                on failure, also say where in the library it was raised\n"
    "  --                       ends the options\n"
    "  -h, --help               this text; COMMAND --help, or help COMMAND: that command's\n"
    "                           options and examples\n"
    "  --version                the version, and the register snapshot built in\n"
    "\n"
    "exit status: 0 success, 1 the dictionary did not load (or WHAT was not found, or the\n"
    "import failed, or set or apply refused a change or wrote nothing), 2 usage error, 3 check "
    "found something, or mxf or regxml found errors or\n"
    "warnings (see --fail-on), 4 mxf, regxml or report refused the file (several files: the "
    "highest\n"
    "of these)\n";

// The built-in dictionary's note names the register snapshot it was made from.
void printVersion() {
    std::cout << "xsddict " << XSDDICT_VERSION << "\n";
    const Velmar::SDK::String path = Velmar::SDK::MetaMetadata::Loading::builtinDictionaryPath();
    try {
        std::cout
            << "built-in dictionary: "
            << Velmar::SDK::MetaMetadata::Loading::compiledDictionaryNote(path.c_str()).c_str()
            << " (" << path.c_str() << ")\n";
    } catch (const Velmar::SDK::Exceptions::BaseException& e) {
        std::cout << "built-in dictionary: none ("
                  << xsddict::oneLine(Velmar::SDK::Utils::wstringToBytes(e.message()).c_str())
                  << ")\n";
    }
}

}  // namespace

int main(int argc, char** argv) {
    xsddict::CommandLine commandLine(kHelp, printVersion);
    for (auto add :
         {xsddict::addSummaryCommand, xsddict::addDumpCommand, xsddict::addCheckCommand,
          xsddict::addShowCommand, xsddict::addImportRegistersCommand, xsddict::addCompileCommand,
          xsddict::addMxfCommand, xsddict::addRegXMLCommand, xsddict::addReportCommand,
          xsddict::addSetCommand, xsddict::addApplyCommand, xsddict::addRecoverCommand}) {
        add(commandLine);
    }
    return commandLine.run(argc, argv);
}
