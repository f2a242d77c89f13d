/// @file function/GyreTypes.h
/// Declares the status of a function of the policy language, for agents that compile functions. Evaluation reads the status too, so its
/// class is in the substrate, below both.
#pragma once

#include "substrate/gyre/FunctionStatusBase.h"   // IWYU pragma: export
