/// @file agent/dialect/FrrRules.h
#pragma once

#include "dialect/Assumptions.h"
#include "dialect/CompiledRules.h"

namespace Agent {

/// Compiles route maps with FRR's rules:
///
///    evaluate( route map ): the answer is deny; for each sequence, ascending:
///       it does not match      the answer is deny again; go on with the next sequence
///       deny                   the route is denied, whatever the sequence sets, calls or continues to
///       permit                 its set clauses are applied, and the sequences behind it see the changed route;
///                              then its callee is evaluated, if it is defined, and denies the route if the callee does;
///                              then "on-match next" goes on with the next sequence, "on-match goto N" with the lowest sequence from N on
///                              (the route is permitted if it does not exist); without either the route is permitted
///    the end: the last answer
///
/// A denial of a callee denies the whole evaluation, so nothing that was set has to be taken back. A route can come to the end with a
/// denial only behind a sequence that did not match: a permit without a successor does not continue.
///
/// `former`: an earlier result, whose lists are shared if they are unchanged.
CompiledRules compileFrrRules( const PolicyText & text, const Assumptions & assumptions = {}, const CompiledRules & former = {} );

}   // namespace Agent
