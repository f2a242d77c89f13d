/// @file substrate/zeugma/DumpContext.h
/// A dump: the state of an object and its children as indented lines of text, each child in full only once. Status objects and machines
/// print themselves into a DumpContext.
///
/// dumpState() of a class prints its own line with _objDumpPrintf, and its children with dumpChild(), two columns deeper:
///    RouteMapStatus RM1 features=<...
///      RouteMapSeqStatus permit 10
/// Threading: a context belongs to one thread; the dumped objects must not change meanwhile.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_set>

#include "routepolicy_export.h"
#include "substrate/quoin/Ptr.h"
#include "substrate/quoin/String.h"

namespace Zeugma {

/// Collects the text of one dump and remembers which objects it has printed. All functions are const, since dumpState() takes a const
/// context.
class ROUTEPOLICY_API DumpContext : public Quoin::Node {
 public:
   /// How children are printed.
   enum class Mode : uint8_t {
      classText,   // each class's own dumpState()
      generic      // one plain line per child, for tools that do not know the classes
   };
   explicit DumpContext( Mode mode = Mode::classText ) : generic_( mode == Mode::generic ) {}
   ~DumpContext() override;

   /// Marks `object` as printed. Returns true if it was marked before.
   bool markObject( const void * object ) const { return !marked_.insert( object ).second; }
   bool genericOutput() const noexcept { return generic_; }

   void append( const char * text, size_t size ) const { text_.append( text, size ); }
   /// Appends a newline, unless the text is empty or ends with one.
   void ensureBufEndsWithNewLine() const {
      if( !text_.empty() && text_.back() != '\n' ) text_ += '\n';
   }
   Quoin::String text() const { return Quoin::String( text_ ); }

 private:
   bool generic_;
   mutable std::unordered_set<const void *> marked_;
   mutable std::string text_;
};

using DumpContextPtr = Quoin::Ptr<const DumpContext>;

/// Appends formatted text, as printf(). Text of any length is allowed.
[[gnu::format( printf, 2, 3 )]] ROUTEPOLICY_API void _objDumpPrintf( const DumpContextPtr & ctx, const char * format, ... );

/// The notes that dumpChild() prints in place of a child, each one line at `indent`.
ROUTEPOLICY_API void doObjDumpDuplicate( const DumpContextPtr & ctx, const char * type, const void * child, unsigned indent );
ROUTEPOLICY_API void doObjDumpGeneric( const DumpContextPtr & ctx, const char * type, const void * child, unsigned indent );
ROUTEPOLICY_API void doObjDumpChildPtrNull( const DumpContextPtr & ctx, const char * type, unsigned indent );
ROUTEPOLICY_API void doObjDumpMissingAttributes( const DumpContextPtr & ctx, const char * attributes, unsigned indent );

/// Prints one line through _objDumpPrintf, indented by `indent` columns: "%*c" in front of the format prints the blanks.
/// It is a macro, since the compiler checks only literal formats.
#define ZEUGMA_OBJ_DUMP_LINE( ctx, indent, format, ... )                                                           \
   ( ( indent ) > 0 ? ::Zeugma::_objDumpPrintf( ctx, "%*c" format, int( indent ), ' ' __VA_OPT__(, ) __VA_ARGS__ ) \
                    : ::Zeugma::_objDumpPrintf( ctx, format __VA_OPT__(, ) __VA_ARGS__ ) )

/// Dumps `child` as part of its owner's dump: in full the first time, a note afterwards.
/// `type` is the printed type name. A class whose dump omits attributes names them in `kAttributesNotDumped`.
template <class T>
void dumpChild( const DumpContextPtr & ctx, const char * type, const Quoin::Ptr<T> & child, unsigned indent ) {
   if( !child ) return doObjDumpChildPtrNull( ctx, type, indent );
   if( ctx->markObject( child.get() ) ) return doObjDumpDuplicate( ctx, type, child.get(), indent );
   if( ctx->genericOutput() ) return doObjDumpGeneric( ctx, type, child.get(), indent );
   child->dumpState( ctx, indent );
   ctx->ensureBufEndsWithNewLine();
   if constexpr( requires { T::kAttributesNotDumped; } ) doObjDumpMissingAttributes( ctx, T::kAttributesNotDumped, indent + 2 );
}

}   // namespace Zeugma
