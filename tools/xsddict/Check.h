#pragma once

#include <iosfwd>
#include <string>
#include <vector>

#include "Velmar/SDK/MetaMetadata/Loading/LoadDiagnostics.h"

namespace xsddict {

// One thing a dictionary author would want to know about a dictionary that loads: what the
// loader passed over (sets without a label, members naming no element, local members), clashes
// it resolved (labels, local tags and set keys given twice) and references to no set.
struct Finding {
    std::string rule;  // the diagnostic's kind name, such as "label-given-twice"
    std::string message;
    std::string declaration;
    std::string file;  // empty where unknown
    unsigned long line = 0;
    std::string set;
    std::string other;  // the earlier declaration of a clash
    std::string otherFile;
    unsigned long otherLine = 0;
};

// Receives the load's diagnostics as findings, in the order the load met them.
class CheckFindings : public Velmar::SDK::MetaMetadata::Loading::LoadDiagnostics {
  public:
    void report(const Velmar::SDK::MetaMetadata::Loading::LoadDiagnostic& diagnostic) override;
    const std::vector<Finding>& findings() const { return findings_; }

  private:
    std::vector<Finding> findings_;
};

// A line per finding, "FILE:LINE: RULE: MESSAGE", and the count.
void printFindings(const std::vector<Finding>& findings, std::ostream& out);
// {"schema": ..., "findings": [{"rule", "message", "declaration", "file", "line", "set",
// "other", "otherFile", "otherLine"}], "count": N}
void writeFindingsJson(const std::string& schema, const std::vector<Finding>& findings,
                       std::ostream& out);

}  // namespace xsddict
