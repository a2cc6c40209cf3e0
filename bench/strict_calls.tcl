# The strict face against the bare command: the same calls through `mr`
# and through `modelr`, alternating in one process, several rounds; a
# query that answers, an edit, and a refused call (caught). The goal is at
# most 2x the bare command.
#
#   tclsh bench/strict_calls.tcl ?rounds?
set here [file dirname [file normalize [info script]]]
lappend auto_path [file join $here .. build]
package require modelr::strict

proc quiet {args} {}
modelr callback error quiet
modelr create model bench
for {set i 1} {$i <= 1000} {incr i} { modelr add point $i $i 0 0 }

set rounds [expr {[llength $argv] > 0 ? [lindex $argv 0] : 5}]
set calls {
    query   {get point 500}
    edit    {move point 7 0 0 0}
    refused {add point x}
}
foreach {name words} $calls {
    set bare {}
    set strict {}
    for {set r 0} {$r < $rounds} {incr r} {
        lappend bare [lindex [time {catch {modelr {*}$words}} 20000] 0]
        lappend strict [lindex [time {catch {mr {*}$words}} 20000] 0]
    }
    set b [lindex [lsort -real $bare] [expr {$rounds / 2}]]
    set s [lindex [lsort -real $strict] [expr {$rounds / 2}]]
    puts [format "%-8s modelr %6.3f us   mr %6.3f us   ratio %.2f" $name $b $s [expr {$s / $b}]]
}
