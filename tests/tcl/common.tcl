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

# Runs each command of `pairs` (a command, then the one error text it must
# send) and answers those whose errors differ, each followed by what came.
proc errorPins {pairs} {
    set wrong {}
    foreach {command want} $pairs {
        set got [uplevel 1 [list errorsOf $command]]
        if {$got ne [list $want]} { lappend wrong $command $got }
    }
    return $wrong
}

# Runs `commands` in a fresh tclsh with the package loaded, the only place
# with no model at all; answers what the script `answer` gives there last
# (by default the errors the error procedure received).
proc withoutModel {commands {answer {set errors}}} {
    set file [makeFile [string map [list @BUILD@ $::modelrBuild @CMDS@ $commands \
                                        @ANSWER@ $answer] {
        lappend auto_path @BUILD@
        package require modelr
        set errors {}
        set results {}
        proc record {message} { lappend ::errors $message }
        modelr callback error record
        @CMDS@
        puts [@ANSWER@]
    }] nomodel.tcl]
    try {
        return [exec {*}[withPreload [info nameofexecutable]] $file]
    } finally {
        removeFile nomodel.tcl
    }
}

# Adds points to the current model from a flat list {n x y z ...}; newModel
# first creates the model, and answers its id.
proc addPoints {nxyz} {
    foreach {n x y z} $nxyz { modelr add point $n $x $y $z }
}
proc newModel {name {nxyz {}}} {
    set id [modelr create model $name]
    addPoints $nxyz
    return $id
}

# Whole files as bytes.
proc readBytes {path} {
    set f [open $path rb]
    try { return [read $f] } finally { close $f }
}
proc writeBytes {path data} {
    set f [open $path wb]
    try { puts -nonewline $f $data } finally { close $f }
    return $path
}

# What `assimp info` says of a file: Meshes, Materials, Vertices, Faces,
# Minimum and Maximum (%.3f triples) and the whole text; raw: as the file
# holds them (every face corner a vertex of its own), else identical
# corners joined.
proc assimpInfo {file {raw 1}} {
    set text [exec assimp info $file {*}[expr {$raw ? "--raw" : ""}] 2>@1]
    set info [dict create text $text]
    foreach key {Meshes Materials Vertices Faces} {
        if {[regexp -line "^$key:\\s+(\\d+)" $text -> value]} { dict set info $key $value }
    }
    foreach key {Minimum Maximum} {
        regexp -line "^$key point\\s+\\((\\S+) (\\S+) (\\S+)\\)" $text -> x y z
        dict set info $key [format "%.3f %.3f %.3f" $x $y $z]
    }
    return $info
}

# Runs each command of `pairs` (a command, then the result it must answer
# while reporting no error) and answers those that differ, each followed
# by its result and errors.
proc resultPins {pairs} {
    set wrong {}
    foreach {command want} $pairs {
        set ::errors {}
        set got [uplevel 1 $command]
        if {$got ne $want || $::errors ne ""} { lappend wrong $command [list $got $::errors] }
    }
    return $wrong
}

proc statusesOf {script} {
    set ::statuses {}
    uplevel 1 $script
    return $::statuses
}

# For the view tests: the one view, 300 x 300 in the frame .f, without
# the message lines.
proc makeView {} {
    frame .f -width 300 -height 300
    pack .f
    update
    modelr create window view .f
    update
    modelr display messages off
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
