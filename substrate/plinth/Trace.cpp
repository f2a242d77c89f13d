#include "substrate/plinth/Trace.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace Plinth {

namespace {

// Created on first use, since static handles of other files may be created earlier; never deleted, since they may be destroyed later.
std::vector<TraceHandle *> & handles() {
   static auto * all = new std::vector<TraceHandle *>;
   return *all;
}

TraceHandle::Sink & sink() {
   static auto * one = new TraceHandle::Sink;
   return *one;
}

void toStandardError( const TraceRecord & r ) {
   std::string line =
      std::string( r.handle.name() ) + " " + std::to_string( int( r.level ) ) + " " + r.file + ":" + std::to_string( r.line );
   line.append( " " ).append( r.text ).append( "\n" );
   std::fwrite( line.data(), 1, line.size(), stderr );
}

}   // namespace

TraceHandle::TraceHandle( const char * name ) : name_( name ) {
   handles().push_back( this );
}

TraceHandle::~TraceHandle() {
   std::erase( handles(), this );
}

const std::vector<TraceHandle *> & TraceHandle::all() {
   return handles();
}

size_t TraceHandle::levelIs( std::string_view name, int level ) {
   size_t count = 0;
   for( TraceHandle * handle : handles() ) {
      if( name != "*" && name != handle->name() ) continue;
      handle->levelIs( level );
      ++count;
   }
   return count;
}

void TraceHandle::sinkIs( Sink s ) {
   sink() = std::move( s );
}

TraceHelper::~TraceHelper() {
   const TraceRecord record{ handle_, level_, file_, line_, stream_.text() };
   try {
      if( sink() )
         sink()( record );
      else
         toStandardError( record );
   } catch( ... ) {}   // a trace never changes behaviour
}

}   // namespace Plinth
