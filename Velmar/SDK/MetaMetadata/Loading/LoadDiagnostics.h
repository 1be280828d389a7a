#pragma once

#include "Velmar/SDK/Platform/Export.h"
#include "Velmar/SDK/Templates/String.h"

namespace Velmar::SDK::MetaMetadata::Loading {

// A place in a schema file: the path as the loader was given it, or as an include named it
// relative to the including file, and the line of the declaration's start tag (its last line).
struct SourcePosition {
    String file;  // empty where unknown
    unsigned long line = 0;
    bool known() const { return !file.empty(); }
};

// A declaration that a load passed over without failing, or a clash the Dictionary resolved
// silently (the first of two wins). The load goes on as it would without a receiver.
struct LoadDiagnostic {
    enum class Kind {
        SetWithoutULDesignator,  // a set declaration with no "UL Designator": no set is made
        MemberWithoutRef,        // a member declared in place rather than by ref: skipped
        MemberNamingNoElement,   // a member whose ref names no registered element: skipped
        ReferenceToNoSet,        // a reference whose targets name no set declaration
        LabelGivenTwice,         // an element whose label an earlier element has
        LocalTagGivenTwice,      // a local tag that an earlier element has, or a second tag for
                                 // a label that has one
        SetKeyGivenTwice,        // a set whose key an earlier set has: the later one replaces it
        SubstitutionGroupCycle,  // declarations whose substitution groups lead back to
                                 // themselves: a set reachable from itself
        AbstractTargetsOnly,     // a reference whose every target set is abstract, so that no
                                 // set in a file can be what it points to
    };

    Kind kind;
    WString declaration;  // the declaration's name (a member's ref)
    SourcePosition position;
    WString set;  // the set a member belongs to; empty otherwise
    // The earlier declaration a clash is with; empty otherwise.
    WString other;
    SourcePosition otherPosition;
    WString message;  // one sentence: what was passed over or clashed, and what the load did
};

// The stable name of a kind, such as "set-without-ul-designator", for reports and JSON.
VELMAR_SDK_API const char* diagnosticKindName(LoadDiagnostic::Kind kind);

// Told of every diagnostic of a load, in the order the passes meet them; each declaration at
// most once per kind. The loader writes and logs nothing itself. A receiver should not throw:
// what it throws ends the load as the load's own failures do.
class VELMAR_SDK_API LoadDiagnostics {
  public:
    virtual ~LoadDiagnostics();
    virtual void report(const LoadDiagnostic& diagnostic) = 0;
};

}  // namespace Velmar::SDK::MetaMetadata::Loading
