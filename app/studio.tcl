# The studio: the application a person builds models with. Menus for
# files, editing, the view and the simulation; the view with the mouse
# (left turns, middle pans, right and the wheel zoom, click selects, drag
# on a selection moves it); a layer list, the selection's properties, a
# status line and a log that keeps every report.
#
#   wish app/studio.tcl ?model.mod?
#
# Sourced with ::studio::embedded set, it only defines the procedures;
# studio::start builds the window (the tests drive it so).
package require Tk 8.6

namespace eval studio {
    variable here [file dirname [file normalize [info script]]]
    variable S
    array set S {
        busy 0  current ""  docs {}  nextDoc 0  layer ""  mode point
        projection parallel  focus {0 0 0}  drag ""  redrawPending 0
        undoSteps 100  undoBytes 268435456  recentMax 8  logMax 5000
        margin 0.8  dragThreshold 3  quiet 0
        ordinary {Loading... Ready {Closing currently open Model file} {Load failed}}
    }
}
if {[info exists ::env(MODELR_BUILD)]} {
    lappend auto_path $::env(MODELR_BUILD)
} else {
    lappend auto_path [file join $studio::here .. build]
}
package require modelr
package require modelr::strict

foreach part {reports history files editing view window} {
    source [file join $studio::here studio $part.tcl]
}
unset part

proc studio::start {args} {
    variable S
    set model [file join $studio::here .. samples robot.mod]
    set S(recentFile) [file join [expr {[info exists ::env(HOME)] ? $::env(HOME) : "~"}] \
        .config modelr studio-recent]
    for {set i 0} {$i < [llength $args]} {incr i} {
        set word [lindex $args $i]
        if {$word eq "-recent"} {
            set S(recentFile) [lindex $args [incr i]]
        } else {
            set model $word
        }
    }
    loadRecent
    build
    fillRecentMenu
    update
    if {[modelr create window gl $S(w,frame)] ne ""} {
        puts stderr "modelr studio: cannot create the view window"
        exit 1
    }
    set S(w,gl) $S(w,frame).gl
    bindView $S(w,gl)
    modelr callback status studio::onStatus
    modelr callback error studio::onError
    modelr callback simulate studio::onTick
    modelr set view parallel
    # A builder sees the points it picks and the ground it stands on.
    setDisplay points 1
    setDisplay grid 1
    modelr set view north
    modelr set view rotate 30 20
    if {$model eq "" || ![openFile $model]} {
        if {$S(current) eq ""} { newModel }
    }
    focus $S(w,gl)
    afterChange
}

if {![info exists ::studio::embedded]} {
    studio::start {*}$argv
}
