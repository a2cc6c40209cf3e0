# The rate of simulate ticks with a trivial simulate procedure, against the
# 50 a second that a 20 ms thread sleep allows (goal: within 10%). Boxes of
# one model each are dropped into the pen; each row runs the event loop for
# a few seconds and counts the procedure's calls.
#
#   tclsh bench/sim_ticks.tcl ?seconds? ?boxes ...?
set here [file dirname [file normalize [info script]]]
lappend auto_path [file join $here .. build]
package require modelr

set seconds [expr {[llength $argv] > 0 ? [lindex $argv 0] : 5}]
set counts [expr {[llength $argv] > 1 ? [lrange $argv 1 end] : {1 100 1000}}]
set dir [file join [pwd] sim_ticks_models]
file mkdir $dir

proc onTick {word} { incr ::ticks }
modelr callback simulate onTick

puts [format "%6s %8s %10s %8s" boxes seconds ticks/s "of 50"]
foreach n $counts {
    # One saved box model, opened n times: n bodies.
    modelr create model box
    modelr add collide box box 0 0 0 4 4 4 1 0 0 0 1 0 0 0 1 1 0 1
    modelr file save [file join $dir box.mod]
    set ids [list [modelr file open [file join $dir box.mod]]]
    for {set i 1} {$i < $n} {incr i} { lappend ids [modelr file add [file join $dir box.mod]] }
    modelr simulate start
    # Layers of a grid 6 apart inside the pen, 10 above the floor.
    set side [expr {int(ceil(sqrt(min($n, 900))))}]
    set i 0
    foreach id $ids {
        set k [expr {$i % ($side * $side)}]
        modelr simulate setpos $id box [expr {($k % $side - ($side - 1) / 2.0) * 6}] \
            [expr {($k / $side - ($side - 1) / 2.0) * 6}] [expr {10 + ($i / ($side * $side)) * 6}]
        incr i
    }
    set ::ticks 0
    set start [clock milliseconds]
    after [expr {int($seconds * 1000)}] {set ::done 1}
    vwait ::done
    set elapsed [expr {([clock milliseconds] - $start) / 1000.0}]
    modelr simulate stop
    set rate [expr {$::ticks / $elapsed}]
    puts [format "%6d %8.2f %10.2f %7.1f%%" $n $elapsed $rate [expr {$rate / 50.0 * 100}]]
}
file delete -force $dir
