#include "Velmar/SDK/MetaMetadata/Loading/LoadDiagnostics.h"

namespace Velmar::SDK::MetaMetadata::Loading {

LoadDiagnostics::~LoadDiagnostics() = default;

const char* diagnosticKindName(LoadDiagnostic::Kind kind) {
    switch (kind) {
        case LoadDiagnostic::Kind::SetWithoutULDesignator:
            return "set-without-ul-designator";
        case LoadDiagnostic::Kind::MemberWithoutRef:
            return "member-without-ref";
        case LoadDiagnostic::Kind::MemberNamingNoElement:
            return "member-naming-no-element";
        case LoadDiagnostic::Kind::ReferenceToNoSet:
            return "reference-to-no-set";
        case LoadDiagnostic::Kind::LabelGivenTwice:
            return "label-given-twice";
        case LoadDiagnostic::Kind::LocalTagGivenTwice:
            return "local-tag-given-twice";
        case LoadDiagnostic::Kind::SetKeyGivenTwice:
            return "set-key-given-twice";
        case LoadDiagnostic::Kind::SubstitutionGroupCycle:
            return "substitution-group-cycle";
        case LoadDiagnostic::Kind::AbstractTargetsOnly:
            return "abstract-targets-only";
    }
    return "unknown";
}

}  // namespace Velmar::SDK::MetaMetadata::Loading
