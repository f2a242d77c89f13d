// What bash offers behind the beginning of a command line.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <set>
#include <string>
#include <vector>

#include "tests/agent/CommandFixture.h"
#include "tests/agent/HelpText.h"
#include "tests/agent/Shell.h"

namespace Agent {
namespace {

using Words = std::vector<std::string>;
using Offers = std::multiset<std::string>;

constexpr char kEdge[] = "agent/share/edge.conf";

std::string outputOfBash( const std::string & script ) {
   return outputOfShell( "bash --norc --noprofile -c " + quoted( script ) );
}

class Completion : public testing::Test {
 protected:
   void SetUp() override {
      ASSERT_EQ( std::system( "command -v bash > /dev/null 2>&1" ), 0 ) << "bash is missing; the project's scripts need it too";
      ASSERT_EQ( access( ROUTEPOLICY_PROGRAM, X_OK ), 0 ) << "the program is not built: " << ROUTEPOLICY_PROGRAM;
   }

   // The words as bash parts them, without the program; the cursor stands in the one with that index.
   static Offers offersAt( size_t cursor, const Words & words ) {
      std::string script = "source agent/share/routepolicy.bash\nCOMP_WORDS=(" + quoted( ROUTEPOLICY_PROGRAM );
      for( const auto & word : words ) script += ' ' + quoted( word );
      script += ")\nCOMP_CWORD=" + std::to_string( cursor + 1 ) +
         "\n_routepolicy \"${COMP_WORDS[0]}\" \"${COMP_WORDS[COMP_CWORD]}\" \"${COMP_WORDS[COMP_CWORD-1]}\"\n"
         "((${#COMPREPLY[@]})) && printf '%s\\n' \"${COMPREPLY[@]}\"\n";
      const auto lines = linesOf( outputOfBash( script ) );
      return { lines.begin(), lines.end() };
   }
   // The cursor stands behind the last.
   static Offers offersFor( const Words & words ) { return offersAt( words.size() - 1, words ); }
};

TEST_F( Completion, itIsThereForTheProgramsName ) {
   EXPECT_EQ( outputOfBash( "source agent/share/routepolicy.bash; complete -p routepolicy" ), "complete -F _routepolicy routepolicy\n" );
}

TEST_F( Completion, offers ) {
   struct Row {
      const char * name;
      Words words;
      Offers offers;
   };
   const Row rows[] = {
      { "commands", { "" }, { "check", "eval", "explain", "diff", "watch", "show", "used-by" } },
      { "a command's beginning", { "e" }, { "eval", "explain" } },
      { "no such command", { "frobnicate" }, {} },
      { "options of no such command", { "frobnicate", "-" }, {} },
      { "options before a command", { "--" }, { "--help", "--version" } },
      { "an option's beginning", { "eval", kEdge, "--t" }, { "--threads", "--timing" } },
      { "files", { "check", "agent/share/e" }, { kEdge } },
      { "a second file, where several may stand", { "check", kEdge, "agent/share/e" }, { kEdge } },
      { "the second policy of diff", { "diff", kEdge, "agent/share/e" }, { kEdge } },
      { "no third one", { "diff", kEdge, kEdge, "agent/share/e" }, {} },
      { "a prefix is not completed", { "explain", kEdge, "agent/share/e" }, {} },
      { "route maps of the file", { "eval", kEdge, "--route-map", "" }, { "CUSTOMERS", "EDGE-IN" } },
      { "by the short option", { "eval", kEdge, "-m", "E" }, { "EDGE-IN" } },
      { "of a file behind an option's value", { "eval", "-i", "kernel", kEdge, "-m", "E" }, { "EDGE-IN" } },
      { "behind an equals sign", { "eval", kEdge, "--route-map", "=", "E" }, { "EDGE-IN" } },
      { "right behind it", { "eval", kEdge, "--route-map", "=" }, { "CUSTOMERS", "EDGE-IN" } },
      { "of both policies of diff", { "diff", kEdge, kEdge, "-m", "C" }, { "CUSTOMERS" } },
      { "no name without a file", { "eval", "-m", "" }, {} },
      { "nor of a file that is not there", { "eval", "no/such.conf", "-m", "" }, {} },
      { "nor of standard input", { "show", "-", "" }, {} },
      { "route maps and lists", { "show", kEdge, "C" }, { "CUSTOMERS", "CUSTOMERS-V4", "CUSTOMERS-V6" } },
      { "one name is enough", { "show", kEdge, "CUSTOMERS", "" }, {} },
      { "names behind an option", { "used-by", "--json", kEdge, "R" }, { "RESERVED-AS" } },
      { "a file in quotation marks", { "show", "'agent/share/edge.conf'", "R" }, { "RESERVED-AS" } },
      { "a file with backslashes", { "show", "agent/share/edge\\.conf", "R" }, { "RESERVED-AS" } },
      { "tables: the kernel's", { "eval", kEdge, "--in", "ker" }, { "kernel" } },
      { "tables: files", { "eval", kEdge, "-i", "agent/share/s" }, { "agent/share/sample-table.txt" } },
      { "protocols", { "explain", kEdge, "--protocol", "ospf" }, { "ospf", "ospf6" } },
      { "a further file", { "explain", kEdge, "--with", "agent/share/e" }, { kEdge } },
      { "names of a further file", { "show", "no/such.conf", "--with", kEdge, "R" }, { "RESERVED-AS" } },
      { "which is no name", { "show", "--with", "=", kEdge, kEdge, "R" }, { "RESERVED-AS" } },
      { "the directions of a neighbor", { "eval", kEdge, "--neighbor", "192.0.2.1", "" }, { "in", "out" } },
      { "not a neighbor", { "eval", kEdge, "--neighbor", "" }, {} },
      { "a file behind a neighbor", { "eval", "--neighbor", "192.0.2.1", "in", "agent/share/e" }, { kEdge } },
      { "a list", { "eval", kEdge, "--prefix-list", "LONG" }, { "LONG-V4", "LONG-V6" } },
      { "numbers are not completed", { "eval", kEdge, "--threads", "" }, {} },
   };
   for( const auto & row : rows ) EXPECT_EQ( offersFor( row.words ), row.offers ) << row.name;
}

TEST_F( Completion, aFileBehindTheCursorCountsToo ) {
   EXPECT_EQ( offersAt( 2, { "eval", "-m", "E", kEdge } ), Offers{ "EDGE-IN" } );
   EXPECT_EQ( offersAt( 0, { "ev", kEdge } ), Offers{ "eval" } );
}

TEST_F( Completion, theOptionsOfACommandAreThoseOfItsHelp ) {
   for( const auto & command : commandsOfHelp() ) {
      const auto wanted = optionsOfHelp( command );
      EXPECT_EQ( offersFor( { command, "-" } ), Offers( wanted.begin(), wanted.end() ) ) << command;
   }
}

TEST_F( Completion, theCommandsAreThoseOfTheHelp ) {
   const auto commands = commandsOfHelp();
   EXPECT_EQ( offersFor( { "" } ), Offers( commands.begin(), commands.end() ) );
}

// Whoever wrote the policy does not get to run anything.
TEST_F( Completion, namesAreQuotedAndNeverExpanded ) {
   const std::string mark = testing::TempDir() + "completion-ran-a-name";
   unlink( mark.c_str() );
   const PolicyFile policy( "ip prefix-list $(touch${IFS}" + mark + ") permit any\nip prefix-list `touch${IFS}" + mark +
                            "` permit any\nip prefix-list a;b permit any\nip prefix-list * permit any\n" );
   const auto offers = offersFor( { "show", policy.name(), "" } );
   EXPECT_EQ( offers.size(), 4u );
   EXPECT_TRUE( offers.contains( "a\\;b" ) );
   EXPECT_TRUE( offers.contains( "\\*" ) );
   EXPECT_TRUE( offers.contains( "\\$\\(touch\\$\\{IFS\\}" + mark + "\\)" ) );
   offersFor( { "show", "$(touch " + mark + ")", "" } );
   offersFor( { "$(touch " + mark + ")", "-" } );
   EXPECT_NE( access( mark.c_str(), F_OK ), 0 );
}

TEST_F( Completion, aFileWithErrorsGivesTheNamesThatItHas ) {
   const PolicyFile policy( "ip prefix-list GOOD permit any\nip prefix-list BAD permit 10.0.0.0/33\n" );
   EXPECT_EQ( offersFor( { "show", policy.name(), "" } ), Offers{ "GOOD" } );
}

}   // namespace
}   // namespace Agent
