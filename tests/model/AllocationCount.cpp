// The counting operator new of the substrate's tests, in this program too.
#include "tests/substrate/zeugma/AllocationCount.cpp"   // NOLINT(bugprone-suspicious-include)
