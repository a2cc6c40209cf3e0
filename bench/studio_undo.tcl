# The studio's undo on grids of 10^4, 10^5 and 10^6 points (as many
# polygons): the cost of an edit (the state kept after it) and of the frame
# after it, of one undo (the state loaded back, the panels refreshed) and
# of the frame after it (the model drawn anew, as after an open), of one
# redo, and the memory a state takes, deflated. The goal: one undo at
# 10^5 points under 100 ms. Median of 5.
#
#   xvfb-run -a -s "-screen 0 1280x1024x24 +extension GLX" wish bench/studio_undo.tcl ?n ...?
namespace eval studio { variable embedded 1 }
source [file join [file dirname [file normalize [info script]]] .. app studio.tcl]

set sizes [expr {[llength $argv] ? $argv : {10000 100000 1000000}}]
set dir [file join [studio::scratch] bench]
file mkdir $dir

proc gridModel {n path} {
    modelr create model grid
    set side [expr {int(ceil(sqrt($n)))}]
    set k 0
    for {set i 0} {$i < $side && $k < $n} {incr i} {
        for {set j 0} {$j < $side && $k < $n} {incr j} {
            modelr add point [incr k] $i $j [expr {($i * $j) % 7 * 0.1}]
        }
    }
    for {set i 0} {$i < $side - 1} {incr i} {
        for {set j 0} {$j < $side - 1} {incr j} {
            set a [expr {$i * $side + $j + 1}]
            if {$a + $side + 1 > $n} continue
            modelr add triangle grid 4 $a [expr {$a + 1}] [expr {$a + $side}] [expr {$a + $side + 1}]
        }
    }
    modelr file save $path
}

proc median {values} { lindex [lsort -real $values] [expr {[llength $values] / 2}] }
proc ms {script} {
    set t [clock microseconds]
    uplevel 1 $script
    expr {([clock microseconds] - $t) / 1000.0}
}

set started 0
puts [format "%9s %9s %9s %9s %9s %9s %9s" points "edit ms" "frame ms" "undo ms" "frame ms" "redo ms" "state KB"]
foreach n $sizes {
    set path [file join $dir grid$n.mod]
    gridModel $n $path
    if {!$started} {
        studio::start -recent "" $path
        set started 1
    } else {
        set studio::S(dirty,$studio::S(current)) 0
        studio::openFile $path
    }
    update
    # A few points selected, as after a click.
    foreach p {1 2 3} { modelr select point $p }
    set edit {}; set editFrame {}; set undo {}; set redo {}; set frame {}
    for {set r 0} {$r < 5} {incr r} {
        lappend edit [ms { studio::setPoint 2 $r 0 1 }]
        lappend editFrame [ms { studio::flushDraw }]
        update
        lappend undo [ms { studio::undo }]
        lappend frame [ms { studio::flushDraw }]
        update
        lappend redo [ms { studio::redo }]
        studio::flushDraw
        update
    }
    set d $studio::S(current)
    set kb [expr {[string length [zlib deflate [studio::entryText [lindex $studio::S(hist,$d) end]] 1]] / 1024.0}]
    puts [format "%9d %9.1f %9.1f %9.1f %9.1f %9.1f %9.1f" $n [median $edit] \
        [median $editFrame] [median $undo] [median $frame] [median $redo] $kb]
    file delete $path
}
studio::cleanup
exit 0
