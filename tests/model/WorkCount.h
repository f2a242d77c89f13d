/// @file tests/model/WorkCount.h
/// How much work a piece of code is: the allocations of this thread and, where they can be counted, its instructions. Both are counts, so a
/// busy machine changes neither.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>

/// What counts instructions in this process.
enum class InstructionCounter {
   none,       // under a sanitizer, or on a processor that cannot be stepped
   steps,      // the processor traps after each instruction: everywhere on x86-64, but slow
   hardware,   // a performance counter, if the kernel offers it to this process
};

InstructionCounter instructionCounter();

struct Work {
   size_t allocations = 0;
   std::optional<uint64_t> instructions;   // none if they were not counted
};

/// Steps are counted up to this number, which takes some seconds. The rest of a piece runs at full speed.
constexpr uint64_t kMostSteps = 500'000;

/// Runs `piece` once. Counts instructions only if `counter` is not none; it must be none or instructionCounter().
Work workOf( const std::function<void()> & piece, InstructionCounter counter );
