# Draws docs/plots/*.svg from the rows of a table of benchmarks. scripts/bench --plots runs it from the root of the repository, and sets
# `table`: a file with a line of five fields, separated by tabs, for each row: question, size, ours, yardstick, takes. Times are in ns.

set terminal svg size 760,440 font "sans-serif,13" background "white" linewidth 1.5
set logscale xy
set xtics ( "10" 1e1, "100" 1e2, "1,000" 1e3, "10,000" 1e4, "100,000" 1e5, "1,000,000" 1e6 )
set ytics ( "1" 1, "10" 1e1, "100" 1e2, "1,000" 1e3, "10,000" 1e4, "100,000" 1e5, "1,000,000" 1e6 )
set grid xtics ytics lt 1 lc rgb "#d0d0d0" lw 0.7
set border 3
set tics nomirror out
set key outside right center Left reverse samplen 2 spacing 1.2
set pointsize 0.6
blue = "#0072b2"
orange = "#d55e00"
green = "#009e73"
grey = "#707070"

# The rows of one question, and the column of a way: 3 is ours, 5 is the yardstick.
rows( question, yardstick ) = sprintf( "< awk -F '\\t' '$1 == \"%s\" && $4 == \"%s\"' %s", question, yardstick, table )
set datafile separator tab

set output "docs/plots/sequences.svg"
set title "A route in a route map"
set xlabel "sequences"
set ylabel "time of an evaluation (ns)"
tags = rows( "sequences by tag", "plain walk" )
lists = rows( "sequences by list of 10", "plain walk" )
mixed = rows( "sequences of a mixed policy", "plain walk" )
plot [8:13000] [10:*] \
   lists using 2:5 title "lists, plain walk" with linespoints lc rgb orange dt 2 pt 6, \
   mixed using 2:5 title "mixed, plain walk" with linespoints lc rgb green dt 2 pt 8, \
   tags using 2:5 title "tags, plain walk" with linespoints lc rgb blue dt 2 pt 4, \
   mixed using 2:3 title "mixed, plan" with linespoints lc rgb green pt 9, \
   lists using 2:3 title "lists, plan" with linespoints lc rgb orange pt 7, \
   tags using 2:3 title "tags, plan" with linespoints lc rgb blue pt 5

set output "docs/plots/lists.svg"
set title "A prefix in one prefix list"
set xlabel "entries"
set ylabel "time of a look-up (ns)"
list( what ) = rows( "IPv4 list, " . what, "24-8 table" )
plot [8:700000] [1:*] \
   list( "evaluation, chained" ) using 2:3 title "evaluation, chained" with linespoints lc rgb orange pt 7, \
   list( "look-up, chained" ) using 2:3 title "look-up, chained" with linespoints lc rgb blue pt 5, \
   list( "look-up, chained" ) using 2:5 title "24-8 table, chained" with linespoints lc rgb grey pt 11, \
   list( "evaluation, overlapped" ) using 2:3 title "evaluation, overlapped" with linespoints lc rgb orange dt 2 pt 6, \
   list( "look-up, overlapped" ) using 2:3 title "look-up, overlapped" with linespoints lc rgb blue dt 2 pt 4, \
   list( "look-up, overlapped" ) using 2:5 title "24-8 table, overlapped" with linespoints lc rgb grey dt 2 pt 10

set output "docs/plots/edits.svg"
set title "An edit, from the write to the published generation"
set xlabel "sequences of the route map, or entries of the list"
set ylabel "time of an edit (µs)"
sequence = rows( "a sequence edited among sequences by tag", "of this, the plan" )
entry = rows( "an entry edited under sequences by list", "of this, the plan" )
long = rows( "one change, in force", "a list of 100" )
plot [80:1300000] [1:*] \
   sequence using 2:( $3 / 1000 ) title "a sequence" with linespoints lc rgb blue pt 5, \
   sequence using 2:( $5 / 1000 ) title "of this, the plan" with linespoints lc rgb blue dt 2 pt 4, \
   entry using 2:( $3 / 1000 ) title "an entry of a list of 10" with linespoints lc rgb orange pt 7, \
   entry using 2:( $5 / 1000 ) title "of this, the plan" with linespoints lc rgb orange dt 2 pt 6, \
   long using 2:( $3 / 1000 ) title "an entry of one long list" with linespoints lc rgb green pt 9
