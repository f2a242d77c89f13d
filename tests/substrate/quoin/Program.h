/// @file tests/substrate/quoin/Program.h
/// Random programs for the tests that hold a class against a slow obvious twin.
#pragma once

#include <utility>
#include <vector>

#include <rapidcheck.h>

/// Some hundred steps on the average and two thousand at most, so that the usual hundred programs are tens of thousands of steps.
/// RC_PARAMS="max_success=10000" asks for more programs, RC_PARAMS="seed=..." for one again.
template <class Step, class... Setters>
rc::Gen<std::vector<Step>> programOf( Setters... setters ) {
   return rc::gen::scale( 20.0, rc::gen::container<std::vector<Step>>( rc::gen::build<Step>( std::move( setters )... ) ) );
}
