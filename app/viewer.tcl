# A small viewer: opens a model in a window and lets the mouse turn, pan and
# zoom it. Left drag turns, middle drag pans, right drag or the wheel zooms;
# the keys d u n s e w pick the named views, f fits, p switches between
# parallel and perspective. The status line shows what the engine reports.
#
#   wish app/viewer.tcl ?model.mod? ?--capture file.tga?
#
# With --capture the viewer draws once, writes the picture and exits.
package require Tk
set here [file dirname [file normalize [info script]]]
lappend auto_path [file join $here .. build]
package require modelr

set model [file join $here .. samples robot.mod]
set capture ""
for {set i 0} {$i < [llength $argv]} {incr i} {
    set word [lindex $argv $i]
    if {$word eq "--capture"} {
        set capture [lindex $argv [incr i]]
    } else {
        set model $word
    }
}

wm title . "modelr viewer"
frame .f -width 640 -height 480
label .status -anchor w -relief sunken
pack .status -side bottom -fill x
pack .f -side top -fill both -expand 1
update

proc showStatus {text} { .status configure -text $text }
proc showError {text} { .status configure -text "error: $text" }
modelr callback status showStatus
modelr callback error showError

# The mouse procedure gets button, x, y and the motion since the last
# event; a button number is only given while that button is held.
proc onMouse {button x y dx dy} {
    switch -- $button {
        1 { modelr set view rotate $dx $dy }
        2 { modelr set view pan $dx $dy }
        3 { modelr set view zoom [expr {[modelr get zoom] * (1.0 + $dy / 100.0)}] }
        4 { modelr set view zoom [expr {[modelr get zoom] / 1.1}] }
        5 { modelr set view zoom [expr {[modelr get zoom] * 1.1}] }
        default { return }
    }
    modelr draw
}

proc onKey {key} {
    switch -- $key {
        d { modelr set view down }
        u { modelr set view up }
        n { modelr set view north }
        s { modelr set view south }
        e { modelr set view east }
        w { modelr set view west }
        f { modelr set view fit }
        p {
            set ::perspective [expr {!$::perspective}]
            modelr set view [expr {$::perspective ? "perspective" : "parallel"}]
        }
        default { return }
    }
    modelr draw
}
set perspective 0

if {[modelr create window view .f] ne ""} {
    puts stderr "cannot create the view window"
    exit 1
}
modelr callback mouse onMouse
modelr callback keyboard onKey
modelr file open $model
modelr set view north
modelr set view rotate 30 20
modelr set view fit
update
modelr draw

if {$capture ne ""} {
    update
    modelr draw
    modelr file savescreen $capture
    puts "[file tail $model] drawn; capture written to [file normalize $capture]"
    exit 0
}
