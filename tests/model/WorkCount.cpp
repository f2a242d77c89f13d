#include "tests/model/WorkCount.h"

#include <linux/perf_event.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "tests/substrate/zeugma/AllocationCount.h"

#if defined( __x86_64__ ) && !defined( __SANITIZE_ADDRESS__ ) && !defined( __SANITIZE_THREAD__ )
#include <ucontext.h>
#include <x86intrin.h>
#define CAN_STEP 1
#else
#define CAN_STEP 0
#endif

namespace {

/// Instructions in user mode, as the processor counts them.
class HardwareCount {
 public:
   HardwareCount() {
      perf_event_attr what{};
      what.type = PERF_TYPE_HARDWARE;
      what.size = sizeof what;
      what.config = PERF_COUNT_HW_INSTRUCTIONS;
      what.disabled = 1;
      what.exclude_kernel = 1;
      what.exclude_hv = 1;
      file_ = static_cast<int>( syscall( SYS_perf_event_open, &what, 0, -1, -1, 0 ) );
   }
   ~HardwareCount() {
      if( file_ >= 0 ) close( file_ );
   }
   HardwareCount( const HardwareCount & ) = delete;
   HardwareCount & operator=( const HardwareCount & ) = delete;

   bool isOffered() const { return file_ >= 0; }
   void start() const { ioctl( file_, PERF_EVENT_IOC_ENABLE, 0 ); }
   std::optional<uint64_t> stop() const {
      ioctl( file_, PERF_EVENT_IOC_DISABLE, 0 );
      uint64_t count = 0;
      if( read( file_, &count, sizeof count ) != sizeof count ) return std::nullopt;
      return count;
   }

 private:
   int file_;
};

#if CAN_STEP

// While the trap flag is set, the processor raises SIGTRAP after each instruction. The kernel clears the flag for the handler. A parent that
// steps a child with ptrace() counts the same; its two changes of process for each step take twice as long.
constexpr uint64_t kTrapFlag = 0x100;

volatile uint64_t steps = 0;

void countStep( int, siginfo_t *, void * context ) {
   steps = steps + 1;
   if( steps == kMostSteps ) static_cast<ucontext_t *>( context )->uc_mcontext.gregs[ REG_EFL ] &= ~static_cast<greg_t>( kTrapFlag );
}

uint64_t stepsOf( const std::function<void()> & piece ) {
   struct sigaction counting = {}, before = {};
   counting.sa_sigaction = countStep;
   counting.sa_flags = SA_SIGINFO;
   sigaction( SIGTRAP, &counting, &before );
   steps = 0;
   __writeeflags( __readeflags() | kTrapFlag );
   piece();
   __writeeflags( __readeflags() & ~kTrapFlag );
   sigaction( SIGTRAP, &before, nullptr );
   return steps;
}

#else

std::optional<uint64_t> stepsOf( const std::function<void()> & piece ) {
   piece();
   return std::nullopt;
}

#endif

// The next allocation of many bytes sorts the blocks that earlier code has freed. Without this, the sorting would count as work of the piece.
void tidyHeap() {
   void * const volatile block = std::malloc( 100'000 );
   std::free( block );
}

}   // namespace

InstructionCounter instructionCounter() {
   static const InstructionCounter counter = [] {
#if defined( __SANITIZE_ADDRESS__ ) || defined( __SANITIZE_THREAD__ )
      return InstructionCounter::none;   // most of the instructions would be the sanitizer's
#else
      if( HardwareCount().isOffered() ) return InstructionCounter::hardware;
      return CAN_STEP ? InstructionCounter::steps : InstructionCounter::none;
#endif
   }();
   return counter;
}

Work workOf( const std::function<void()> & piece, InstructionCounter counter ) {
   tidyHeap();
   Work work;
   const size_t before = allocationCount();
   switch( counter ) {
      case InstructionCounter::none: piece(); break;
      case InstructionCounter::steps: work.instructions = stepsOf( piece ); break;
      case InstructionCounter::hardware: {
         const HardwareCount count;
         count.start();
         piece();
         work.instructions = count.stop();
         break;
      }
   }
   work.allocations = allocationCount() - before;
   return work;
}
