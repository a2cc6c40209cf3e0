# Building a model through the modelr command: points, then twice as many
# triangles, at 10^4, 10^5 and 10^6 points. Each figure is the cost of one
# command next to the cost of a compiled command that does next to nothing
# with the same words (Tcl's `list`, called the same way: through {*}$cmd,
# so it runs as a command, not inlined), and of a Tcl procedure that does
# nothing. The cost per command must stay flat as the model grows.
#
#   tclsh bench/add_commands.tcl ?maxPoints?
set here [file dirname [file normalize [info script]]]
lappend auto_path [file join $here .. build]
package require modelr

proc noop args {}
set sizes {10000 100000 1000000}
if {[llength $argv] > 0} {
    set sizes [lmap n $sizes {expr {$n <= [lindex $argv 0] ? $n : [continue]}}]
}

# Microseconds per iteration of a loop over n points / 2n triangles, with
# `cmd` as the command; the grid is 1000 points wide.
proc timePoints {cmd n} {
    lindex [time {
        for {set i 1} {$i <= $n} {incr i} {
            {*}$cmd add point $i [expr {$i % 1000}].5 [expr {$i / 1000}].25 0.0
        }
    }] 0
}
proc timeTriangles {cmd n} {
    lindex [time {
        for {set i 1} {$i <= 2 * $n} {incr i} {
            set a [expr {($i % ($n - 1001)) + 1}]
            {*}$cmd add triangle base 0 $a [expr {$a + 1}] [expr {$a + 1000}]
        }
    }] 0
}

puts [format "%-9s %-10s %12s %12s %8s %12s %8s" size command "us/command" "us/list" ratio "us/proc" ratio]
set ratios {}
foreach n $sizes {
    modelr create model bench
    foreach {what proc count} [list points timePoints $n triangles timeTriangles [expr {2 * $n}]] {
        set real [expr {[$proc modelr $n] / double($count)}]
        set compiled [expr {[$proc list $n] / double($count)}]
        set idle [expr {[$proc noop $n] / double($count)}]
        set ratio [expr {$real / $compiled}]
        lappend ratios $what,$n [list $real $ratio]
        puts [format "%-9d %-10s %12.3f %12.3f %8.2f %12.3f %8.2f" $n $what $real $compiled $ratio \
            $idle [expr {$real / $idle}]]
    }
    if {[modelr get numpoints] != $n || [modelr get numtris] != 2 * $n} {
        puts "model incomplete: [modelr get numpoints] points, [modelr get numtris] triangles"
    }
}
modelr create model empty

set d [dict create {*}$ratios]
set first [lindex $sizes 0]
set last [lindex $sizes end]
foreach what {points triangles} {
    set growth [expr {[lindex [dict get $d $what,$last] 0] / [lindex [dict get $d $what,$first] 0]}]
    puts [format "%s: cost per command at %d / at %d = %.2f" $what $last $first $growth]
}
