#include "text/Applications.h"

#include <algorithm>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>

namespace Agent {

namespace {

using Kind = Application::Kind;

constexpr size_t kLongestName = 64;

/// A word, and the kind of thing that the following name is. Each word has a hyphen.
struct ApplyingWord {
   std::string_view word;
   Kind kind;
};
constexpr ApplyingWord kApplyingWords[] = {
   { "route-map", Kind::routeMap },     { "prefix-list", Kind::prefixList }, { "distribute-list", Kind::accessList },
   { "filter-list", Kind::asPathList }, { "table-map", Kind::routeMap },     { "unsuppress-map", Kind::routeMap },
   { "suppress-map", Kind::routeMap },  { "exist-map", Kind::routeMap },     { "non-exist-map", Kind::routeMap },
   { "advertise-map", Kind::routeMap }, { "attribute-map", Kind::routeMap },
};

bool isOneOf( std::string_view word, std::initializer_list<std::string_view> words ) {
   return std::find( words.begin(), words.end(), word ) != words.end();
}

const ApplyingWord * applyingWord( std::string_view word ) {
   if( word.find( '-' ) == word.npos ) return nullptr;
   const auto * const at = std::ranges::find( kApplyingWords, word, &ApplyingWord::word );
   return at == std::end( kApplyingWords ) ? nullptr : at;
}

/// Walks over a line from one word that applies something to the next.
class Walk {
 public:
   explicit Walk( const LineCursor & line ) : line_( line ), indented_( line.indented() ) {}

   struct Found {
      Kind kind;
      Token name;
   };
   std::optional<Found> next() {
      while( !line_.atEnd() ) {
         const Token word = take();
         if( count_ == 1 && isOneOf( word.text, { "match", "set" } ) ) break;   // a clause of some stanza
         if( beginsRemark( word.text ) ) break;
         if( const auto * const applying = applyingWord( word.text ); applying && !defines() )
            if( const auto found = nameBehind( *applying ) ) return found;
      }
      return std::nullopt;
   }

 private:
   Token take() {
      before_ = now_;
      now_ = line_.take();
      if( ++count_ == 1 ) first_ = now_.text;
      return now_;
   }

   // A line such as "prefix-list A permit any" or "ip prefix-list A", which is a definition in another dialect or a mistyped one.
   bool defines() const {
      if( !isOneOf( now_.text, { "prefix-list", "route-map" } ) ) return false;
      if( ( count_ == 1 && !indented_ ) || ( count_ == 2 && isOneOf( first_, { "ip", "ipv4", "ipv6", "IP", "IPv4", "IPv6" } ) ) )
         return true;
      LineCursor behind = line_;
      behind.take();
      return isOneOf( behind.peek().text, { "permit", "deny", "seq", "description" } );
   }

   std::optional<Found> nameBehind( const ApplyingWord & applying ) {
      Kind kind = applying.kind;
      if( before_.text == "orf" ) return std::nullopt;   // "capability orf prefix-list both" names no list
      if( applying.word == "route-map" ) takeVpn();
      if( isOneOf( applying.word, { "distribute-list", "filter-list" } ) ) {
         if( isOneOf( line_.peek().text, { "prefix-list", "route-map" } ) ) return std::nullopt;   // that word follows and is found next
         if( isOneOf( line_.peek().text, { "prefix", "gateway" } ) ) {
            take();
            kind = Kind::prefixList;
         }
      }
      if( line_.atEnd() ) return std::nullopt;
      return Found{ kind, take() };
   }

   // "vpn import" or "vpn export" may stand before the name; "vpn" may also be a name.
   void takeVpn() {
      LineCursor behind = line_;
      if( ( behind.takeWords( "vpn import" ) || behind.takeWords( "vpn export" ) ) && !behind.atEnd() ) line_ = behind;
   }

   LineCursor line_;
   const bool indented_;
   size_t count_ = 0;   // of the words taken
   std::string_view first_;
   Token before_;
   Token now_;
};

}   // namespace

bool addApplications( LineCursor line, std::vector<Application> & applications ) {
   if( line.atEnd() ) return false;
   const Token whole = LineCursor( line ).takeRest( "a line" );
   const bool no = isOneOf( line.peek().text, { "no", "No", "NO" } );
   if( no ) line.take();
   Walk walk( line );
   bool applies = false;
   while( const auto found = walk.next() ) {
      applies = true;
      if( no ) break;
      if( found->name.text == "delay-timer" ) continue;   // "bgp route-map delay-timer 5" names no route map
      applications.push_back( { found->kind, std::string( found->name.text ), printableLine( whole.text ), line.place( found->name ) } );
   }
   return applies;
}

void addOtherWords( LineCursor line, std::unordered_set<std::string> & words ) {
   while( !line.atEnd() )
      if( const Token word = line.take(); word.text.size() <= kLongestName ) words.insert( std::string( word.text ) );
}

bool beginsRemark( std::string_view word ) noexcept {
   return isOneOf( word, { "description", "remark", "banner", "alias", "password", "log", "debug" } );
}

}   // namespace Agent
