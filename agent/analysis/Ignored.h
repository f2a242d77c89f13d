/// @file agent/analysis/Ignored.h
/// Findings that the operator does not want to see: by a comment in the policy, or by kind.
///
///    ! routepolicy: ignore shadowed
///    ip prefix-list P seq 10 permit 10.1.0.0/16
#pragma once

#include <cstddef>
#include <vector>

#include "analysis/Analysis.h"

namespace Agent {

struct ReportedFindings {
   std::vector<Finding> findings;   // ordered by place
   size_t ignored = 0;              // findings that are left out
};

/// Leaves out the findings of these kinds, and those that a comment above their line names. A comment that names none is a finding itself.
ReportedFindings withoutIgnored( std::vector<Finding> findings, const PolicyText & text, const std::vector<Finding::Kind> & kinds );

}   // namespace Agent
