/// @file substrate/zeugma/DumpContext.h
/// Dumps of object state: indented lines, each child in full once.
///
/// dumpState() of a class prints its own line with _objDumpPrintf and its children with dumpChild() two columns deeper:
///    RouteMapStatus RM1 features=<...
///      RouteMapSeqStatus permit 10
/// Threading: a context belongs to one thread; the objects must stand still.
#pragma once

#include <cstdint>
#include <string>
#include <unordered_set>

#include "routepolicy_export.h"
#include "substrate/quoin/Ptr.h"
#include "substrate/quoin/String.h"

namespace Zeugma {

/// Collects the text of one dump and remembers what it has shown. Const throughout: a dump changes nothing but its context.
class ROUTEPOLICY_API DumpContext : public Quoin::Node {
 public:
   enum class Mode : uint8_t {
      classText,   // each class's own dumpState()
      generic      // one plain line per child, for tools that know no class
   };
   explicit DumpContext( Mode mode = Mode::classText ) : generic_( mode == Mode::generic ) {}
   ~DumpContext() override;

   /// Marks `object` as shown; true when it had been marked before.
   bool markObject( const void * object ) const { return !marked_.insert( object ).second; }
   bool genericOutput() const noexcept { return generic_; }

   void append( const char * text, size_t size ) const { text_.append( text, size ); }
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

/// Appends formatted text, as printf.
[[gnu::format( printf, 2, 3 )]] ROUTEPOLICY_API void _objDumpPrintf( const DumpContextPtr & ctx, const char * format, ... );

/// The notes of dumpChild(), each one line at `indent`.
ROUTEPOLICY_API void doObjDumpDuplicate( const DumpContextPtr & ctx, const char * type, const void * child, unsigned indent );
ROUTEPOLICY_API void doObjDumpGeneric( const DumpContextPtr & ctx, const char * type, const void * child, unsigned indent );
ROUTEPOLICY_API void doObjDumpChildPtrNull( const DumpContextPtr & ctx, const char * type, unsigned indent );
ROUTEPOLICY_API void doObjDumpMissingAttributes( const DumpContextPtr & ctx, const char * attributes, unsigned indent );

/// Prints through _objDumpPrintf: the format behind "%*c" with a blank as wide as the indent, and as it stands at indent 0.
/// A macro, since the compiler checks formats in literals only.
#define ZEUGMA_OBJ_DUMP_LINE( ctx, indent, format, ... )                                                           \
   ( ( indent ) > 0 ? ::Zeugma::_objDumpPrintf( ctx, "%*c" format, int( indent ), ' ' __VA_OPT__(, ) __VA_ARGS__ ) \
                    : ::Zeugma::_objDumpPrintf( ctx, format __VA_OPT__(, ) __VA_ARGS__ ) )

/// Dumps `child` as part of its owner's dump: in full the first time that the context meets it, a note otherwise.
/// `type` is the printed type name. A class that leaves attributes out of its dump names them in `kAttributesNotDumped`.
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
