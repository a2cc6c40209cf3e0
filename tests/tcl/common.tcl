# Shared set-up of the tcltest files: loads the package from the build
# directory and records what the error and status procedures receive.
source [file join [file dirname [file normalize [info script]]] preload.tcl]
package require tcltest 2.2
namespace import -force ::tcltest::*

if {[info exists ::env(MODELR_BUILD)]} {
    set ::modelrBuild $::env(MODELR_BUILD)
} else {
    set ::modelrBuild [file normalize [file join [file dirname [info script]] .. .. build]]
}
lappend auto_path $::modelrBuild
package require modelr

set ::errors {}
set ::statuses {}
proc recordError {message} { lappend ::errors $message }
proc recordStatus {message} { lappend ::statuses $message }
modelr callback error recordError
modelr callback status recordStatus

# Runs a script and returns what it sent to the error procedure.
proc errorsOf {script} {
    set ::errors {}
    uplevel 1 $script
    return $::errors
}

proc statusesOf {script} {
    set ::statuses {}
    uplevel 1 $script
    return $::statuses
}

testConstraint xvfb [expr {[auto_execok xvfb-run] ne ""}]

# Ends a test file: the summary, and a failing exit code when a test failed
# (tcltest itself always exits 0).
proc finishTests {} {
    set failed $::tcltest::numTests(Failed)
    # Under Tk, cleanupTests would exit (with 0) itself unless interactive.
    if {[info exists ::tk_version]} { testConstraint interactive 1 }
    cleanupTests
    exit [expr {$failed > 0}]
}
