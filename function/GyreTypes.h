/// @file function/GyreTypes.h
/// The status of a function of the policy language, for agents that compile functions. Evaluation reads it too, so the class is in the
/// substrate, below both.
#pragma once

#include "substrate/gyre/FunctionStatusBase.h"   // IWYU pragma: export
