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

# --- Dialogs ----------------------------------------------------------------
# Every question the studio asks goes through these, so that a test can
# answer in their place (redefine the procedure).
namespace eval studio::dialog {
    proc openFile {title types} {
        tk_getOpenFile -parent . -title $title -filetypes $types
    }
    proc saveFile {title types initial extension} {
        tk_getSaveFile -parent . -title $title -filetypes $types \
            -initialfile [file tail $initial] \
            -initialdir [file dirname [file normalize $initial]] \
            -defaultextension $extension
    }
    # yes, no or cancel.
    proc saveChanges {names} {
        tk_messageBox -parent . -type yesnocancel -icon question \
            -title "Save changes?" \
            -message "Save the changes to [join $names {, }] before closing?"
    }
    # The new text, or "" when the person cancels.
    proc askString {title prompt initial} {
        set w .ask
        destroy $w
        toplevel $w
        wm title $w $title
        wm transient $w .
        set ::studio::dialog::answer $initial
        set ::studio::dialog::done ""
        ttk::label $w.l -text $prompt
        ttk::entry $w.e -textvariable ::studio::dialog::answer -width 30
        ttk::button $w.ok -text OK -command {set ::studio::dialog::done ok}
        ttk::button $w.cancel -text Cancel -command {set ::studio::dialog::done cancel}
        grid $w.l - -padx 8 -pady 4 -sticky w
        grid $w.e - -padx 8 -sticky ew
        grid $w.ok $w.cancel -padx 8 -pady 8
        bind $w <Return> {set ::studio::dialog::done ok}
        bind $w <Escape> {set ::studio::dialog::done cancel}
        wm protocol $w WM_DELETE_WINDOW {set ::studio::dialog::done cancel}
        focus $w.e
        $w.e selection range 0 end
        catch {grab $w}
        vwait ::studio::dialog::done
        destroy $w
        if {$::studio::dialog::done ne "ok"} { return "" }
        return $::studio::dialog::answer
    }
    proc inform {title text} {
        tk_messageBox -parent . -type ok -title $title -message $text
    }
}

# --- Reports ----------------------------------------------------------------

# The log keeps every status line and error, newest last; the status bar
# shows the latest.
proc studio::log {kind text} {
    variable S
    set t $S(w,log)
    if {![winfo exists $t]} return
    $t configure -state normal
    $t insert end "[clock format [clock seconds] -format %H:%M:%S] " time "$text\n" $kind
    set lines [expr {int([$t index end]) - 1}]
    if {$lines > $S(logMax)} { $t delete 1.0 "end - $S(logMax) lines - 1 line" }
    $t configure -state disabled
    $t see end
}

proc studio::say {text {kind info}} {
    variable S
    set S(status) $text
    log $kind $text
}

proc studio::onStatus {text} {
    variable S
    if {[info exists S(heard)]} {
        lappend S(heard) $text
        # The studio's own loads of kept states say nothing ordinary.
        if {$S(quiet) && $text in $S(ordinary)} return
    }
    set S(status) $text
    log status $text
}

proc studio::onError {text} {
    variable S
    set S(status) "Error: $text"
    log error $text
}

proc studio::onTick {args} { redraw }

# --- Documents --------------------------------------------------------------
# A document is an open model as the studio knows it: its engine id (which
# changes when undo reloads it), the file it came from and its history.

proc studio::newDoc {id path} {
    variable S
    set d d[incr S(nextDoc)]
    set S(id,$d) $id
    set S(path,$d) $path
    set S(hist,$d) {}
    set S(pos,$d) -1
    set S(saved,$d) -1
    set S(bytes,$d) 0
    set S(dirty,$d) 0
    lappend S(docs) $d
    return $d
}

proc studio::dropAllDocs {} {
    variable S
    foreach d $S(docs) { array unset S *,$d }
    set S(docs) {}
    set S(current) ""
}

proc studio::isDirty {d} {
    variable S
    return $S(dirty,$d)
}

proc studio::docName {d} {
    variable S
    if {$S(path,$d) eq ""} { return [modelr file name $S(id,$d)] }
    return [file tail $S(path,$d)]
}

# Makes the document's model the engine's current one.
proc studio::choose {d} {
    variable S
    set S(current) $d
    modelr select model $S(id,$d)
    chooseLayer $S(layer)
}

proc studio::updateTitle {} {
    variable S
    set d $S(current)
    if {$d eq ""} {
        wm title . "modelr studio"
        return
    }
    set mark [expr {[isDirty $d] ? "*" : ""}]
    wm title . "[docName $d]$mark - modelr studio"
}

# --- Snapshots and undo ----------------------------------------------------
# Undo keeps the document's states, not commands: after every edit the
# model is saved to a scratch file and kept in memory (deflated, but for
# the shown state's neighbours); undo and redo load the neighbouring state
# beside the open models and drop the one shown. Every edit is covered,
# whatever it touched, and a state costs about a fifth of its file's size.
# The selection is kept beside it.

proc studio::scratch {} {
    variable S
    if {![info exists S(scratch)] || ![file isdirectory $S(scratch)]} {
        set base /tmp
        if {[info exists ::env(TMPDIR)] && [file isdirectory $::env(TMPDIR)]} {
            set base $::env(TMPDIR)
        }
        sweepScratch $base
        set dir [file join $base modelr-studio-[pid]-[expr {int(rand() * 1e9)}]]
        file mkdir $dir
        file attributes $dir -permissions 0700
        set S(scratch) $dir
    }
    return $S(scratch)
}

# Scratch folders of studios that ended without cleaning up.
proc studio::sweepScratch {base} {
    foreach dir [glob -nocomplain -directory $base -types d modelr-studio-*] {
        if {[regexp {modelr-studio-(\d+)-} [file tail $dir] - pid] && $pid != [pid]
                && [file isdirectory /proc] && ![file exists /proc/$pid]
                && [file owned $dir]} {
            catch {file delete -force $dir}
        }
    }
}

proc studio::cleanup {} {
    variable S
    if {[info exists S(scratch)]} {
        catch {file delete -force $S(scratch)}
        unset S(scratch)
    }
}

proc studio::readBytes {path} {
    set f [open $path rb]
    set data [read $f]
    close $f
    return $data
}

# A new file only: never through a link or over a file that is there.
proc studio::writeBytes {path data} {
    set f [open $path {WRONLY CREAT EXCL}]
    fconfigure $f -translation binary
    puts -nonewline $f $data
    close $f
}

# Opens or adds a model file; its id, or an error that says why (the
# reader's message, which the engine sends as a status line before "Load
# failed"). Quiet: the ordinary status lines stay out of the log.
proc studio::load {how path {quiet 0}} {
    variable S
    set S(heard) {}
    set S(quiet) $quiet
    set result [modelr file $how $path]
    set heard $S(heard)
    unset S(heard)
    set S(quiet) 0
    if {[string is integer -strict $result] && $result > 0} { return $result }
    set reason "it did not load"
    foreach line $heard {
        if {$line eq "Load failed"} break
        if {$line ni $S(ordinary)} { set reason $line }
    }
    error $reason
}

# Ids that are not kept by a reload (polygons, lines, children) are kept as
# places: a polygon as its layer and its place in that layer's list.
proc studio::listOf {text} {
    if {$text eq "unknown"} { return {} }
    return [words $text]
}

# The engine joins names with blanks, and a name is one word, but not a
# Tcl list element: "{a" is a layer name.
proc studio::words {text} {
    lsearch -all -inline -not -exact [split $text " "] ""
}

proc studio::selectionNow {} {
    # A list longer than a result can carry comes back empty.
    set sel [dict create points [listOf [modelr get points (selected)]]]
    foreach kind {triangles lines} {
        set chosen [listOf [modelr get $kind (selected)]]
        if {[llength $chosen] == 0} continue
        set at {}
        foreach id $chosen { dict set at $id 1 }
        set places {}
        foreach layer [words [modelr get layer names]] {
            set i 0
            foreach id [listOf [modelr get $kind $layer]] {
                if {[dict exists $at $id]} { lappend places $layer $i }
                incr i
            }
        }
        dict set sel $kind $places
    }
    set kids [listOf [modelr get children]]
    set places {}
    foreach id [listOf [modelr get children (selected)]] {
        lappend places [lsearch -exact $kids $id]
    }
    dict set sel children $places
    return $sel
}

proc studio::restoreSelection {sel} {
    foreach n [dict get $sel points] { modelr select point $n }
    foreach kind {triangles lines} word {triangle line} {
        if {![dict exists $sel $kind]} continue
        set lists {}
        foreach {layer i} [dict get $sel $kind] {
            if {![dict exists $lists $layer]} {
                dict set lists $layer [listOf [modelr get $kind $layer]]
            }
            set id [lindex [dict get $lists $layer] $i]
            if {$id ne ""} { modelr select $word $id }
        }
    }
    set kids [listOf [modelr get children]]
    foreach i [dict get $sel children] {
        set id [lindex $kids $i]
        if {$id ne ""} { modelr select child $id }
    }
}

# The current model's state: {file-text selection}.
proc studio::capture {d} {
    variable S
    set file [file join [scratch] capture.mod]
    if {[modelr file save $file] ne "1"} {
        error "could not keep the model's state in [scratch]"
    }
    set text [readBytes $file]
    file delete $file
    return [list $text [selectionNow]]
}

proc studio::sourceDir {d} {
    variable S
    if {$S(path,$d) eq ""} { return "" }
    return [file dirname [file normalize $S(path,$d)]]
}

# Writes a state as <name>.mod in a scratch folder of its own (key), beside
# links to what the source folder holds, so that its children load as from
# there, and loads it beside the open models; the new model's id.
proc studio::loadState {key source data name} {
    variable S
    set dir [file join [scratch] $key]
    if {![info exists S(linked,$key)] || $S(linked,$key) ne $source} {
        file delete -force $dir
        file mkdir $dir
        if {$source ne ""} {
            foreach entry [glob -nocomplain -directory $source -tails *] {
                catch {file link -symbolic [file join $dir $entry] [file join $source $entry]}
            }
        }
        set S(linked,$key) $source
    }
    set file [file join $dir $name.mod]
    file delete $file  ;# a link to the document's own file
    writeBytes $file $data
    set failed [catch {load add $file 1} id]
    file delete $file
    if {$failed} { error $id }
    return $id
}

# A history entry is {data selection label packed}: the states next to
# the one shown are kept as the file's text, so that one undo or redo
# only loads; the others are deflated once the studio is idle.
proc studio::entryText {entry} {
    lassign $entry data - - packed
    if {$packed} { return [zlib inflate $data] }
    return $data
}

proc studio::sizeOfHistory {d} {
    variable S
    set bytes 0
    foreach entry $S(hist,$d) { incr bytes [string length [lindex $entry 0]] }
    set S(bytes,$d) $bytes
}

# Deflates the states more than one step from the one shown, then drops
# the oldest while the history is over its byte limit (one step at least
# stays undoable).
proc studio::packHistory {d} {
    variable S
    if {![info exists S(hist,$d)]} return
    set i 0
    foreach entry $S(hist,$d) {
        if {abs($i - $S(pos,$d)) > 1 && ![lindex $entry 3]} {
            lset S(hist,$d) $i 0 [zlib deflate [lindex $entry 0] 1]
            lset S(hist,$d) $i 3 1
        }
        incr i
    }
    sizeOfHistory $d
    while {[llength $S(hist,$d)] > 2 && $S(pos,$d) > 1 && $S(bytes,$d) > $S(undoBytes)} {
        dropOldest $d
    }
}

proc studio::dropOldest {d} {
    variable S
    incr S(bytes,$d) -[string length [lindex $S(hist,$d) 0 0]]
    set S(hist,$d) [lrange $S(hist,$d) 1 end]
    incr S(pos,$d) -1
    incr S(saved,$d) -1
    set S(dirty,$d) [expr {$S(pos,$d) != $S(saved,$d)}]
}

proc studio::historyChanged {d} {
    variable S
    sizeOfHistory $d
    after cancel [list studio::packHistory $d]
    after idle [list studio::packHistory $d]
}

# Puts the document back in the state at index i of its history; false
# when it would not load (the model shown stays).
proc studio::restore {d i} {
    variable S
    set entry [lindex $S(hist,$d) $i]
    set text [entryText $entry]
    set name [modelr file name $S(id,$d)]
    if {[catch {loadState $d [sourceDir $d] $text $name} id]} {
        say "Could not restore the model: $id" error
        choose $d
        return 0
    }
    lset S(hist,$d) $i [list $text [lindex $entry 1] [lindex $entry 2] 0]
    modelr file remove $S(id,$d)
    set S(id,$d) $id
    choose $d
    restoreSelection [lindex $entry 1]
    chooseLayer $S(layer)
    set S(pos,$d) $i
    set S(dirty,$d) [expr {$S(pos,$d) != $S(saved,$d)}]
    historyChanged $d
    return 1
}

# The state before the first edit is taken when that edit begins.
proc studio::beginEdit {} {
    variable S
    set d $S(current)
    if {$d eq ""} { error "no model is open" }
    if {[llength $S(hist,$d)] == 0} {
        set S(hist,$d) [list [linsert [capture $d] end "" 0]]
        set S(pos,$d) 0
        set S(saved,$d) [expr {$S(dirty,$d) ? -1 : 0}]
        sizeOfHistory $d
    }
    return $d
}

# Keeps the state after an edit as one undo step; an edit that changed
# nothing in the file makes none.
proc studio::endEdit {d label} {
    variable S
    lassign [capture $d] text sel
    set pos $S(pos,$d)
    if {[entryText [lindex $S(hist,$d) $pos]] eq $text} {
        lset S(hist,$d) $pos 1 $sel
        return 0
    }
    # What could be redone is gone.
    if {$S(saved,$d) > $pos} { set S(saved,$d) -1 }
    set S(hist,$d) [lrange $S(hist,$d) 0 $pos]
    lappend S(hist,$d) [list $text $sel $label 0]
    set S(pos,$d) [expr {$pos + 1}]
    while {[llength $S(hist,$d)] > $S(undoSteps) + 1} { dropOldest $d }
    set S(dirty,$d) [expr {$S(pos,$d) != $S(saved,$d)}]
    historyChanged $d
    return 1
}

# Runs an edit of the current model as one undo step. Refusals are shown;
# whatever the script changed before one stays, and can be undone.
proc studio::edit {label script} {
    variable S
    if {$S(busy)} return
    if {[catch {beginEdit} d]} {
        say "$label: $d" error
        return
    }
    set failed [catch {uplevel 1 $script} message]
    endEdit $d $label
    if {$failed} { say "$label: $message" error }
    afterChange
}

proc studio::undo {} {
    variable S
    set d $S(current)
    if {$S(busy) || $d eq "" || $S(pos,$d) <= 0} {
        say "Nothing to undo"
        return
    }
    set label [lindex $S(hist,$d) $S(pos,$d) 2]
    if {[restore $d [expr {$S(pos,$d) - 1}]]} { say "Undid $label" }
    afterChange
}

proc studio::redo {} {
    variable S
    set d $S(current)
    if {$S(busy) || $d eq "" || $S(pos,$d) >= [llength $S(hist,$d)] - 1} {
        say "Nothing to redo"
        return
    }
    if {[restore $d [expr {$S(pos,$d) + 1}]]} {
        say "Redid [lindex $S(hist,$d) $S(pos,$d) 2]"
    }
    afterChange
}

# --- Files ------------------------------------------------------------------

set studio::modTypes {{{Models} {.mod}} {{All files} *}}

# Long work shows: the busy cursor over the window, and no second command
# starts until it is done.
proc studio::busy {text script} {
    variable S
    if {$S(busy)} {
        say "Busy: wait until the work under way is done"
        return -code return
    }
    set S(busy) 1
    say $text
    catch {tk busy hold .}
    catch {. configure -cursor watch}
    update idletasks
    set code [catch {uplevel 1 $script} result options]
    catch {tk busy forget .}
    catch {. configure -cursor {}}
    set S(busy) 0
    return -options $options $result
}

# Asks about the documents with changes; false when the person cancels or
# a save fails.
proc studio::settleChanges {docs} {
    variable S
    set changed {}
    foreach d $docs { if {[isDirty $d]} { lappend changed $d } }
    if {[llength $changed] == 0} { return 1 }
    set names {}
    foreach d $changed { lappend names [docName $d] }
    switch -- [dialog::saveChanges $names] {
        yes {
            foreach d $changed {
                choose $d
                if {![save]} { return 0 }
            }
            return 1
        }
        no { return 1 }
        default { return 0 }
    }
}

proc studio::refuseBusy {} {
    variable S
    if {$S(busy)} {
        say "Busy: wait until the work under way is done"
        return 1
    }
    return 0
}

# The model file to read: the one given, else the one the dialog titled
# `title` chooses ("" when it is cancelled), made absolute.
proc studio::modelPath {path title} {
    if {$path eq ""} {
        set path [dialog::openFile $title $::studio::modTypes]
        if {$path eq ""} { return "" }
    }
    return [file normalize $path]
}

# A model just read becomes a document of the studio, the current one.
proc studio::adopt {id path} {
    variable S
    set d [newDoc $id $path]
    set S(layer) ""
    choose $d
    remember $path
}

# Opens a file in place of every open model. The file is tried beside
# them first, so that one that does not load leaves them as they were and
# says why.
proc studio::openFile {{path ""}} {
    variable S
    if {[refuseBusy]} { return 0 }
    set path [modelPath $path "Open model"]
    if {$path eq ""} { return 0 }
    if {![settleChanges $S(docs)]} { return 0 }
    set ok [busy "Loading [file tail $path]..." {
        if {[catch {load add $path 1} trial]} {
            say "Could not open [file tail $path]: $trial" error
            set trial 0
        } else {
            # A fresh open: it closes the others and sizes the scene anew.
            modelr file remove $trial
            if {[catch {load open $path} id]} {
                say "Could not open [file tail $path]: $id" error
                dropAllDocs
                set trial 0
            }
        }
        expr {$trial ne "0"}
    }]
    if {!$ok} {
        afterChange
        return 0
    }
    dropAllDocs
    adopt $id $path
    fit
    say "Opened [file tail $path]"
    afterChange
    return 1
}

# Adds a file beside the open models and makes it current.
proc studio::addFile {{path ""}} {
    variable S
    if {[refuseBusy]} { return 0 }
    set path [modelPath $path "Add model"]
    if {$path eq ""} { return 0 }
    set ok [busy "Loading [file tail $path]..." {
        if {[catch {load add $path} id]} {
            say "Could not add [file tail $path]: $id" error
            set id 0
        }
        expr {$id ne "0"}
    }]
    if {$ok} {
        adopt $id $path
        say "Added [file tail $path]"
    } elseif {$S(current) ne ""} {
        choose $S(current)
    }
    afterChange
    return $ok
}

proc studio::newModel {} {
    variable S
    if {[refuseBusy]} { return 0 }
    if {![settleChanges $S(docs)]} { return 0 }
    set id [modelr file new untitled]
    dropAllDocs
    set S(layer) ""
    choose [newDoc $id ""]
    modelr set view north
    modelr set view fit
    set S(focus) [lrange [modelr get centre] 0 2]
    say "New model"
    afterChange
    return 1
}

# Reads the current model's file again, in place; its changes are asked
# about first.
proc studio::reload {} {
    variable S
    set d $S(current)
    if {[refuseBusy] || $d eq ""} { return 0 }
    if {$S(path,$d) eq ""} {
        say "The model has no file to reload from"
        return 0
    }
    if {![settleChanges [list $d]]} { return 0 }
    set path $S(path,$d)
    set ok [busy "Loading [file tail $path]..." {
        if {[catch {load add $path} id]} {
            say "Could not reload [file tail $path]: $id" error
            set id 0
        }
        expr {$id ne "0"}
    }]
    if {$ok} {
        modelr file remove $S(id,$d)
        set S(id,$d) $id
        foreach key {hist pos saved bytes dirty} value {{} -1 -1 0 0} { set S($key,$d) $value }
        say "Reloaded [file tail $path]"
    }
    choose $d
    afterChange
    return $ok
}

# Saves the current model to its file (asking for one when it has none);
# false when nothing was written.
proc studio::save {{path ""}} {
    variable S
    set d $S(current)
    if {[refuseBusy] || $d eq ""} { return 0 }
    if {$path eq ""} { set path $S(path,$d) }
    if {$path eq ""} { return [saveAs] }
    set written [busy "Saving [file tail $path]..." {
        modelr file save $path
    }]
    if {$written ne "1"} {
        say "Could not save [file tail $path]: [whyUnwritable $path]" error
        return 0
    }
    set S(path,$d) $path
    set S(saved,$d) $S(pos,$d)
    set S(dirty,$d) 0
    remember $path
    say "Saved [file normalize $path]"
    afterChange
    return 1
}

proc studio::saveAs {} {
    variable S
    set d $S(current)
    if {[refuseBusy] || $d eq ""} { return 0 }
    set initial $S(path,$d)
    if {$initial eq ""} { set initial [modelr file name $S(id,$d)].mod }
    set path [dialog::saveFile "Save model as" $::studio::modTypes $initial .mod]
    if {$path eq ""} { return 0 }
    if {![string match *.mod $path]} { append path .mod }
    if {![save $path]} { return 0 }
    # The model takes the file's name, as it would opening it.
    catch {mr file rename [file rootname [file tail $path]]}
    afterChange
    return 1
}

# The engine says only that a save failed; this says why, as far as the
# file system tells.
proc studio::whyUnwritable {path} {
    set dir [file dirname [file normalize $path]]
    if {![file isdirectory $dir]} { return "no folder $dir" }
    if {![file writable $dir]} { return "the folder $dir is not writable" }
    if {[file isdirectory $path]} { return "$path is a folder" }
    if {[file exists $path] && ![file writable $path]} { return "$path is not writable" }
    return "could not write $path"
}

# Exports go through a copy of the model loaded in the scratch folder:
# the exporter writes beside the model's own file, which is not where the
# person asked for it, and nothing there may be overwritten.
proc studio::export {format} {
    variable S
    set d $S(current)
    if {[refuseBusy] || $d eq ""} { return 0 }
    set extension [dict get {stl .stl obj .obj x .x} $format]
    set name [modelr file name $S(id,$d)]
    set initial [expr {$S(path,$d) eq "" ? "$name$extension" :
                       "[file rootname $S(path,$d)]$extension"}]
    set types [list [list "[string toupper $format] files" $extension] {{All files} *}]
    set target [dialog::saveFile "Export [string toupper $format]" $types $initial $extension]
    if {$target eq ""} { return 0 }
    return [exportTo $format $target]
}

proc studio::exportTo {format target} {
    variable S
    set d $S(current)
    set name [modelr file name $S(id,$d)]
    set ok [busy "Exporting [file tail $target]..." {
        set result [catch {
            set file [file join [scratch] export.mod]
            if {[modelr file save $file] ne "1"} { error "could not copy the model" }
            set data [readBytes $file]
            file delete $file
            set copy [loadState x$d [sourceDir $d] $data $name]
            set dir [file join [scratch] x$d]
            # The exporter replaces the file a link points to: none may
            # stand where it writes.
            foreach made [list $name.mod.$format $name.$format] {
                catch {file delete [file join $dir $made]}
            }
            set before [glob -nocomplain -directory $dir -types f *]
            try {
                set written [modelr file export $format]
            } finally {
                modelr file remove $copy
            }
            if {$written ne "1"} { error "the exporter refused it (see the log)" }
            set made {}
            foreach f [glob -nocomplain -directory $dir -types f *] {
                if {$f ni $before && [file type $f] ne "link"} { lappend made $f }
            }
            if {[llength $made] != 1} { error "the exported file was not found" }
            # The exporters name the file they write inside it.
            set made [lindex $made 0]
            set text [string map [list $made [file normalize $target]] [readBytes $made]]
            file delete $made
            set part $target.part
            set f [open $part w]
            try {
                fconfigure $f -translation binary
                puts -nonewline $f $text
                close $f
                file rename -force $part $target
            } on error {message options} {
                catch {close $f}
                catch {file delete $part}
                return -options $options $message
            }
        } message]
        choose $d
        if {$result} { say "Could not export [file tail $target]: $message" error }
        expr {!$result}
    }]
    if {$ok} { say "Exported [file normalize $target]" }
    return $ok
}

proc studio::importFile {} {
    variable S
    if {[refuseBusy]} { return 0 }
    set path [dialog::openFile "Import" {{{All files} *}}]
    if {$path eq ""} { return 0 }
    edit "Import" { mr file import $path }
    return 1
}

# The view as seen, as PNG: the capture is red first and bottom row first;
# a PPM in memory, rows turned over, is what the photo image reads.
proc studio::savePicture {{path ""}} {
    if {[refuseBusy]} { return 0 }
    if {$path eq ""} {
        set path [dialog::saveFile "Save picture" {{{PNG images} .png}} picture.png .png]
        if {$path eq ""} { return 0 }
    }
    flushDraw
    set tga [file join [scratch] picture.tga]
    modelr file savescreen $tga
    if {![file exists $tga]} {
        say "Could not save the picture: the view drew nothing" error
        return 0
    }
    set data [readBytes $tga]
    file delete $tga
    binary scan $data @12susu width height
    set row [expr {$width * 3}]
    set ppm "P6\n$width $height\n255\n"
    for {set y [expr {$height - 1}]} {$y >= 0} {incr y -1} {
        set at [expr {273 + $y * $row}]
        append ppm [string range $data $at [expr {$at + $row - 1}]]
    }
    set image [image create photo -data $ppm -format ppm]
    set failed [catch {$image write $path -format png} message]
    image delete $image
    if {$failed} {
        say "Could not save the picture: $message" error
        return 0
    }
    say "Picture saved to [file normalize $path]"
    return 1
}

proc studio::quit {} {
    variable S
    if {$S(busy)} return
    if {![settleChanges $S(docs)]} return
    cleanup
    exit 0
}

# --- Recent files -----------------------------------------------------------

proc studio::remember {path} {
    variable S
    set path [file normalize $path]
    set list [lsearch -all -inline -not -exact $S(recent) $path]
    set S(recent) [lrange [linsert $list 0 $path] 0 [expr {$S(recentMax) - 1}]]
    if {$S(recentFile) ne ""} {
        catch {
            file mkdir [file dirname $S(recentFile)]
            set f [open $S(recentFile) w]
            puts -nonewline $f [join $S(recent) \n]\n
            close $f
        }
    }
    fillRecentMenu
}

proc studio::loadRecent {} {
    variable S
    set S(recent) {}
    if {$S(recentFile) ne "" && [file readable $S(recentFile)]} {
        catch {
            foreach line [split [readBytes $S(recentFile)] \n] {
                if {$line ne ""} { lappend S(recent) $line }
            }
        }
    }
}

proc studio::fillRecentMenu {} {
    variable S
    set m $S(w,recent)
    if {![winfo exists $m]} return
    $m delete 0 end
    if {[llength $S(recent)] == 0} {
        $m add command -label "(none)" -state disabled
    }
    foreach path $S(recent) {
        $m add command -label $path -command [list studio::openFile $path]
    }
}

# --- Editing ----------------------------------------------------------------

proc studio::deleteSelection {} {
    edit "Delete" { mr select delete }
}

proc studio::copySelection {} {
    edit "Copy" { mr select copy }
}

proc studio::bakeMirrors {} {
    edit "Mirror bake" { mr perform bakeall share }
}

# A point's coordinates, from the properties panel.
proc studio::setPoint {n x y z} {
    foreach v [list $x $y $z] {
        if {![string is double -strict $v]} {
            say "Point $n: \"$v\" is not a number" error
            return 0
        }
    }
    # add point moves it exactly, but takes its mark off.
    set marked [expr {$n in [selectedOf point]}]
    edit "Move point $n" {
        mr add point $n $x $y $z
        if {$marked} { modelr select point $n }
    }
    return 1
}

proc studio::renameLayer {old {new ""}} {
    variable S
    if {$new eq ""} {
        set new [dialog::askString "Rename layer" "New name of layer $old:" $old]
    }
    if {$new eq "" || $new eq $old} { return 0 }
    edit "Rename layer" {
        mr select layer $old
        mr set layer name $new
    }
    if {$S(layer) eq $old && $new in [words [modelr get layer names]]} {
        set S(layer) $new
    }
    afterChange
    return 1
}

# --- Selection --------------------------------------------------------------
# Clicks pick with the picker of the mode (S(mode): point, triangle, line,
# joint, child or collide, the words pick, select and deselect share).

# What lies under the window position, or "" for nothing.
proc studio::pickAt {x y} {
    variable S
    if {$S(current) eq ""} { return "" }
    flushDraw
    set hit [modelr pick $S(mode) $x $y]
    if {$hit eq "" || $hit eq "0" || $hit eq "-1"} { return "" }
    return $hit
}

proc studio::selectedOf {kind} {
    switch -- $kind {
        point { return [listOf [modelr get points (selected)]] }
        triangle { return [listOf [modelr get triangles (selected)]] }
        line { return [listOf [modelr get lines (selected)]] }
        child { return [listOf [modelr get children (selected)]] }
        default { return {} }
    }
}

proc studio::isSelected {kind id} {
    expr {$id in [selectedOf $kind]}
}

# A click: alone it makes the picked item the selection (nothing picked
# clears it); with Shift it adds the item, with Control it flips it.
proc studio::clickSelect {x y how} {
    variable S
    if {$S(current) eq ""} return
    set hit [pickAt $x $y]
    switch -- $how {
        replace {
            modelr select clear
            if {$hit ne ""} { modelr select $S(mode) $hit }
        }
        add {
            if {$hit ne ""} { modelr select $S(mode) $hit }
        }
        toggle {
            if {$hit ne ""} {
                if {[isSelected $S(mode) $hit]} {
                    modelr deselect $S(mode) $hit
                } else {
                    modelr select $S(mode) $hit
                }
            }
        }
    }
    chooseLayer $S(layer)
    afterChange
    return $hit
}

proc studio::selectAll {} {
    variable S
    if {$S(current) eq ""} return
    set word [dict get {point points triangle triangles line lines joint joints
        child children collide collides} $S(mode)]
    set ids [listOf [modelr get $word]]
    if {$S(mode) eq "joint"} {
        set ids [lmap {name parent} $ids {set name}]
    }
    if {$S(mode) eq "point" && [llength $ids] != [modelr get numpoints]} {
        # Too many to list: every number up to the highest, quietly.
        modelr callback error studio::ignore
        for {set n 1} {$n <= [modelr get highest]} {incr n} { modelr select point $n }
        modelr callback error studio::onError
    } else {
        foreach id $ids { modelr select $S(mode) $id }
    }
    afterChange
}
proc studio::ignore {args} {}

proc studio::deselectAll {} {
    variable S
    if {$S(current) eq ""} return
    modelr select clear
    chooseLayer $S(layer)
    afterChange
}

proc studio::setMode {mode} {
    variable S
    set S(mode) $mode
    if {$mode eq "point" && ![modelr display points]} { setDisplay points 1 }
    if {$mode eq "joint" && ![modelr display skeleton]} { setDisplay skeleton 1 }
    if {$mode eq "collide" && ![modelr display collide]} { setDisplay collide 1 }
    say "Clicks select [dict get {point points triangle polygons line lines
        joint joints child children collide {collide objects}} $mode]"
}

proc studio::chooseLayer {name} {
    variable S
    if {$S(current) eq "" || $name eq ""} {
        set S(layer) ""
        return
    }
    if {$name in [words [modelr get layer names]] && [modelr select layer $name] eq "1"} {
        set S(layer) $name
    } else {
        set S(layer) ""
    }
}

# --- The view ---------------------------------------------------------------

proc studio::redraw {} {
    variable S
    if {$S(redrawPending)} return
    set S(redrawPending) 1
    after idle studio::flushDraw
}

proc studio::flushDraw {} {
    variable S
    set S(redrawPending) 0
    after cancel studio::flushDraw
    modelr draw
}

proc studio::namedView {name} {
    modelr set view $name
    redraw
}

proc studio::setProjection {kind} {
    variable S
    set S(projection) $kind
    modelr set view $kind
    fit
}

proc studio::toggleProjection {} {
    variable S
    setProjection [expr {$S(projection) eq "parallel" ? "perspective" : "parallel"}]
}

proc studio::setDisplay {switch on} {
    variable S
    set S(display,$switch) $on
    modelr display $switch $on
    redraw
}

proc studio::zoomBy {factor} {
    set zoom [expr {[lindex [modelr get zoom] 0] * $factor}]
    modelr set view zoom $zoom
    redraw
}

proc studio::turnBy {dx dy} {
    modelr set view rotate $dx $dy
    redraw
}

# Row-order 4x4 matrix times a column (x y z w).
proc studio::transform {m v} {
    set out {}
    foreach row {0 1 2 3} {
        set sum 0.0
        foreach c {0 1 2 3} { set sum [expr {$sum + [lindex $m [expr {$row * 4 + $c}]] * [lindex $v $c]}] }
        lappend out $sum
    }
    return $out
}

# Where a model point is drawn: eye coordinates and normalised device
# coordinates, as the last frame drew it (focus shift included).
proc studio::project {p} {
    variable S
    set q [list {*}[lmap a $p f $S(focus) {expr {$a - $f}}] 1.0]
    set eye [transform [modelr get matrix view] $q]
    set clip [transform [modelr get matrix projection] $eye]
    set w [lindex $clip 3]
    if {$w == 0} { set w 1e-9 }
    return [list [lrange $eye 0 2] [expr {[lindex $clip 0] / $w}] [expr {[lindex $clip 1] / $w}]]
}

proc studio::corners {} {
    lassign [modelr get bounds] x0 y0 z0 x1 y1 z1
    set out {}
    foreach x [list $x0 $x1] { foreach y [list $y0 $y1] { foreach z [list $z0 $z1] {
        lappend out [list $x $y $z]
    }}}
    return $out
}

# Fit: the model's box, as the view turns it, fills S(margin) of the view
# (a tenth of the view free on every side) and sits in its middle.
proc studio::fit {} {
    variable S
    if {$S(current) eq "" || [modelr get bounds] eq ""} return
    modelr set view fit
    set S(focus) [lrange [modelr get centre] 0 2]
    flushDraw
    set corners [corners]
    set xs {}; set ys {}
    foreach c $corners {
        lassign [lindex [project $c] 0] ex ey
        lappend xs $ex; lappend ys $ey
    }
    set xs [lsort -real $xs]; set ys [lsort -real $ys]
    set halfX [expr {([lindex $xs end] - [lindex $xs 0]) / 2.0}]
    set halfY [expr {([lindex $ys end] - [lindex $ys 0]) / 2.0}]
    if {$halfX <= 0 && $halfY <= 0} return  ;# no size: the engine's fit stands
    modelr set x [expr {([lindex $xs end] + [lindex $xs 0]) / 2.0}]
    modelr set y [expr {([lindex $ys end] + [lindex $ys 0]) / 2.0}]
    set zoom [lindex [modelr get zoom] 0]
    if {$S(projection) eq "parallel"} {
        # The half extents shown are linear in the zoom.
        set p [modelr get matrix projection]
        set shownX [expr {1.0 / [lindex $p 0] / $zoom}]
        set shownY [expr {1.0 / [lindex $p 5] / $zoom}]
        set want [expr {max($halfX / $shownX, $halfY / $shownY) / $S(margin)}]
        if {$want > 0} { modelr set view zoom $want }
    } else {
        # The eye moves with the zoom: a few rounds of measuring.
        for {set round 0} {$round < 8} {incr round} {
            flushDraw
            set most 0.0
            foreach c $corners {
                lassign [project $c] eye nx ny
                set most [expr {max($most, abs($nx), abs($ny))}]
            }
            if {abs($most - $S(margin)) < 0.01 * $S(margin)} break
            set zoom [expr {[lindex [modelr get zoom] 0] * $most / $S(margin)}]
            modelr set view zoom $zoom
        }
    }
    flushDraw
}

# The view-plane move of a model unit: pixels per unit along the screen's
# x and y at the selection's depth, and the two axes in model space.
proc studio::dragFrame {centre} {
    set m [modelr get matrix view]
    set right [lrange $m 0 2]
    set up [lrange $m 4 6]
    set W [winfo width $::studio::S(w,gl)]
    set H [winfo height $::studio::S(w,gl)]
    lassign [project $centre] - x0 y0
    lassign [project [lmap c $centre r $right {expr {$c + $r}}]] - x1 y1
    lassign [project [lmap c $centre u $up {expr {$c + $u}}]] - x2 y2
    set ppuX [expr {hypot(($x1 - $x0) * $W / 2.0, ($y1 - $y0) * $H / 2.0)}]
    set ppuY [expr {hypot(($x2 - $x0) * $W / 2.0, ($y2 - $y0) * $H / 2.0)}]
    return [list $right $up $ppuX $ppuY]
}

# --- Mouse and keys in the view --------------------------------------------

proc studio::press {button x y how} {
    variable S
    focus $S(w,gl)
    if {$S(busy)} return
    flushDraw
    set S(drag) [dict create button $button x $x y $y x0 $x y0 $y how $how moved 0 mode view]
    if {$button == 1 && $how eq "replace" && $S(current) ne ""} {
        set hit [pickAt $x $y]
        if {$hit ne "" && $S(mode) in {point child}
                && [isSelected $S(mode) $hit]} {
            set centre [modelr select centre]
            if {[llength $centre] == 3} {
                dict set S(drag) mode move
                dict set S(drag) frame [dragFrame $centre]
            }
        }
    }
}

proc studio::motion {x y} {
    variable S
    if {$S(drag) eq ""} return
    set dx [expr {$x - [dict get $S(drag) x]}]
    set dy [expr {$y - [dict get $S(drag) y]}]
    if {![dict get $S(drag) moved]} {
        set far [expr {max(abs($x - [dict get $S(drag) x0]), abs($y - [dict get $S(drag) y0]))}]
        if {$far < $S(dragThreshold)} return
        dict set S(drag) moved 1
        if {[dict get $S(drag) mode] eq "move"} {
            if {[catch {beginEdit} message]} {
                dict set S(drag) mode view
            }
        }
    }
    dict set S(drag) x $x
    dict set S(drag) y $y
    switch -- [dict get $S(drag) button] {
        1 {
            if {[dict get $S(drag) mode] eq "move"} {
                lassign [dict get $S(drag) frame] right up ppuX ppuY
                if {$ppuX > 0 && $ppuY > 0} {
                    set d [lmap r $right u $up {expr {$r * $dx / $ppuX - $u * $dy / $ppuY}}]
                    modelr select translate {*}$d
                    refreshProperties
                }
                redraw
            } else {
                turnBy [expr {$dx * 0.5}] [expr {$dy * 0.5}]
            }
        }
        2 {
            modelr set view pan $dx $dy
            redraw
        }
        3 { zoomBy [expr {max(0.05, 1.0 + $dy / 100.0)}] }
    }
}

proc studio::release {x y} {
    variable S
    if {$S(drag) eq ""} return
    set drag $S(drag)
    set S(drag) ""
    if {[dict get $drag moved]} {
        if {[dict get $drag mode] eq "move"} {
            endEdit $S(current) "Move"
            afterChange
        }
        return
    }
    if {[dict get $drag button] == 1} {
        clickSelect $x $y [dict get $drag how]
    }
}

proc studio::wheel {direction} {
    if {$direction < 0} {
        zoomBy [expr {1.0 / 1.1}]
    } else {
        zoomBy 1.1
    }
}

# Runs the command for a key pressed without Control or Alt.
proc studio::plainKey {state args} {
    if {$state & 12} return
    {*}$args
}

proc studio::bindView {gl} {
    foreach {pattern how} {
        <ButtonPress-1> replace <Shift-ButtonPress-1> add <Control-ButtonPress-1> toggle
    } {
        bind $gl $pattern [list studio::press 1 %x %y $how]
    }
    bind $gl <ButtonPress-2> {studio::press 2 %x %y replace}
    bind $gl <ButtonPress-3> {studio::press 3 %x %y replace}
    bind $gl <Motion> {studio::motion %x %y}
    bind $gl <ButtonRelease> {studio::release %x %y}
    bind $gl <Button-4> {studio::wheel -1}
    bind $gl <Button-5> {studio::wheel 1}
    bind $gl <MouseWheel> {studio::wheel [expr {%D > 0 ? -1 : 1}]}
    # Ctrl+S is Save, not the south view.
    foreach {key view} {d down u up n north s south e east w west} {
        bind $gl <KeyPress-$key> [list studio::plainKey %s studio::namedView $view]
    }
    bind $gl <KeyPress-f> {studio::plainKey %s studio::fit}
    bind $gl <KeyPress-p> {studio::plainKey %s studio::toggleProjection}
    bind $gl <KeyPress-Delete> studio::deleteSelection
    bind $gl <KeyPress-Escape> studio::deselectAll
    bind $gl <KeyPress-Left> {studio::turnBy -15 0}
    bind $gl <KeyPress-Right> {studio::turnBy 15 0}
    bind $gl <KeyPress-Up> {studio::turnBy 0 -15}
    bind $gl <KeyPress-Down> {studio::turnBy 0 15}
    bind $gl <KeyPress-plus> {studio::zoomBy [expr {1.0 / 1.1}]}
    bind $gl <KeyPress-minus> {studio::zoomBy 1.1}
}

# --- Panels -----------------------------------------------------------------

proc studio::swatch {i r g b} {
    set name studio::swatch$i
    if {$name ni [image names]} { image create photo $name -width 14 -height 10 }
    if {$r == 0 && $g == 0 && $b == 0} {
        set r [set g [set b [expr {127 / 255.0}]]]  ;# drawn grey
    }
    if {$r > 1 || $g > 1 || $b > 1} {
        set r [expr {$r / 255.0}]; set g [expr {$g / 255.0}]; set b [expr {$b / 255.0}]
    }
    set hex [format #%02x%02x%02x {*}[lmap c [list $r $g $b] {
        expr {int(max(0.0, min(1.0, $c)) * 255 + 0.5)}
    }]]
    $name put $hex -to 0 0 14 10
    return $name
}

proc studio::refreshLayers {} {
    variable S
    set tree $S(w,layers)
    $tree delete [$tree children {}]
    if {$S(current) eq ""} return
    set i 0
    foreach name [words [modelr get layer names]] {
        lassign [modelr get layer color $name] r g b
        set images [llength [words [modelr get layer images $name]]]
        set item [$tree insert {} end -text $name -image [swatch [incr i] $r $g $b] \
            -values [list [modelr get layer sides $name] [modelr get layer mirror $name] $images]]
        if {$name eq $S(layer)} { $tree selection set $item }
    }
}

proc studio::layerClicked {} {
    variable S
    set item [$S(w,layers) selection]
    if {[llength $item] != 1} return
    set name [$S(w,layers) item $item -text]
    if {$name eq $S(layer)} return
    chooseLayer $name
    modelr set showlayer 1
    redraw
}

proc studio::layerDoubleClicked {x y} {
    variable S
    set item [$S(w,layers) identify item $x $y]
    if {$item eq ""} return
    renameLayer [$S(w,layers) item $item -text]
}

proc studio::refreshProperties {} {
    variable S
    set p $S(w,props)
    if {$S(current) eq ""} {
        set S(prop,summary) "No model"
        set S(prop,point) ""
        foreach c {x y z} { $p.$c state disabled }
        $p.apply state disabled
        return
    }
    set parts {}
    foreach {word one many} {numpoints point points numtris polygon polygons
            numlines line lines numkids child children} {
        set n [modelr get $word (selected)]
        if {$n > 0} { lappend parts "$n [expr {$n == 1 ? $one : $many}]" }
    }
    set S(prop,summary) [expr {[llength $parts] ? "Selected: [join $parts {, }]" : "Nothing selected"}]
    set centre [modelr select centre]
    set S(prop,centre) [expr {[llength $centre] == 3 ?
        [format "Centre %.3f %.3f %.3f" {*}$centre] : ""}]
    set points [selectedOf point]
    if {[llength $points] == 1} {
        set n [lindex $points 0]
        set S(prop,point) "Point $n"
        lassign [modelr get point $n] x y z
        foreach c {x y z} v [list $x $y $z] {
            $p.$c state !disabled
            set S(prop,$c) [format %g $v]
        }
        $p.apply state !disabled
    } else {
        set S(prop,point) "Point (select one to edit it)"
        foreach c {x y z} {
            set S(prop,$c) ""
            $p.$c state disabled
        }
        $p.apply state disabled
    }
}

proc studio::applyPoint {} {
    variable S
    set points [selectedOf point]
    if {[llength $points] != 1} return
    setPoint [lindex $points 0] $S(prop,x) $S(prop,y) $S(prop,z)
}

proc studio::refreshMenus {} {
    variable S
    set m $S(w,edit)
    set d $S(current)
    set canUndo [expr {$d ne "" && $S(pos,$d) > 0}]
    set canRedo [expr {$d ne "" && $S(pos,$d) < [llength $S(hist,$d)] - 1}]
    $m entryconfigure 0 -state [expr {$canUndo ? "normal" : "disabled"}] \
        -label [expr {$canUndo ? "Undo [lindex $S(hist,$d) $S(pos,$d) 2]" : "Undo"}]
    $m entryconfigure 1 -state [expr {$canRedo ? "normal" : "disabled"}] \
        -label [expr {$canRedo ? "Redo [lindex $S(hist,$d) [expr {$S(pos,$d) + 1}] 2]" : "Redo"}]
    set models $S(w,models)
    $models delete 0 end
    foreach doc $S(docs) {
        $models add radiobutton -label [docName $doc] -value $doc \
            -variable studio::S(current) -command [list studio::switchTo $doc]
    }
}

proc studio::switchTo {d} {
    choose $d
    afterChange
}

# After anything that may have changed the document or the selection.
proc studio::afterChange {} {
    refreshLayers
    refreshProperties
    refreshMenus
    updateTitle
    redraw
}

# --- The window -------------------------------------------------------------

proc studio::menus {} {
    variable S
    set bar [menu .menubar -tearoff 0]
    . configure -menu $bar

    set m [menu $bar.file -tearoff 0]
    $bar add cascade -label File -underline 0 -menu $m
    $m add command -label New -command studio::newModel -accelerator Ctrl+N
    $m add command -label Open... -command studio::openFile -accelerator Ctrl+O
    $m add command -label Add... -command studio::addFile
    $m add command -label Reload -command studio::reload
    $m add cascade -label "Recent files" -menu [set S(w,recent) [menu $m.recent -tearoff 0]]
    $m add separator
    $m add command -label Save -command studio::save -accelerator Ctrl+S
    $m add command -label "Save As..." -command studio::saveAs -accelerator Ctrl+Shift+S
    $m add command -label "Export STL..." -command {studio::export stl}
    $m add command -label "Export OBJ..." -command {studio::export obj}
    $m add command -label "Export DirectX..." -command {studio::export x}
    # Import shows once the engine has it.
    if {[dict exists [modelr help file] import]} {
        $m add command -label Import... -command studio::importFile
    }
    $m add command -label "Save picture..." -command studio::savePicture
    $m add separator
    $m add command -label Quit -command studio::quit -accelerator Ctrl+Q

    set m [menu $bar.edit -tearoff 0]
    set S(w,edit) $m
    $bar add cascade -label Edit -underline 0 -menu $m
    $m add command -label Undo -command studio::undo -accelerator Ctrl+Z
    $m add command -label Redo -command studio::redo -accelerator Ctrl+Y
    $m add separator
    $m add command -label "Select all" -command studio::selectAll -accelerator Ctrl+A
    $m add command -label Deselect -command studio::deselectAll -accelerator Esc
    $m add command -label Delete -command studio::deleteSelection -accelerator Del
    $m add command -label Copy -command studio::copySelection -accelerator Ctrl+D
    $m add command -label "Mirror bake" -command studio::bakeMirrors
    $m add separator
    foreach {mode label} {point Points triangle Polygons line Lines joint Joints
            child Children collide "Collide objects"} {
        $m add radiobutton -label "Click selects $label" -value $mode \
            -variable studio::S(mode) -command [list studio::setMode $mode]
    }

    set m [menu $bar.view -tearoff 0]
    $bar add cascade -label View -underline 0 -menu $m
    foreach {view key} {down D up U north N south S east E west W} {
        $m add command -label [string totitle $view] -accelerator $key \
            -command [list studio::namedView $view]
    }
    $m add command -label Fit -command studio::fit -accelerator F
    $m add separator
    $m add radiobutton -label Parallel -value parallel -variable studio::S(projection) \
        -command {studio::setProjection parallel} -accelerator P
    $m add radiobutton -label Perspective -value perspective -variable studio::S(projection) \
        -command {studio::setProjection perspective} -accelerator P
    $m add separator
    set d [menu $m.display -tearoff 0]
    $m add cascade -label Display -menu $d
    foreach {switch usage} [modelr help display] {
        if {![string match *<on>* $usage]} continue
        set S(display,$switch) [expr {[modelr display $switch] eq "on"}]
        $d add checkbutton -label $switch -variable studio::S(display,$switch) \
            -command [list studio::displayChanged $switch]
    }
    set S(w,models) [menu $m.models -tearoff 0]
    $m add cascade -label "Current model" -menu $S(w,models)

    if {"simulate" in [modelr help]} {
        set m [menu $bar.simulate -tearoff 0]
        $bar add cascade -label Simulate -underline 0 -menu $m
        $m add command -label Auto -command {studio::simulate auto}
        $m add command -label Start -command {studio::simulate start}
        $m add command -label Stop -command {studio::simulate stop}
        $m add command -label Reset -command {studio::simulate reset}
    }

    set m [menu $bar.help -tearoff 0]
    $bar add cascade -label Help -underline 0 -menu $m
    $m add command -label "Keys and mouse" -command studio::showHelp
}

proc studio::displayChanged {switch} {
    variable S
    setDisplay $switch $S(display,$switch)
}

proc studio::simulate {what} {
    variable S
    if {$S(current) eq ""} return
    set answer [modelr simulate $what]
    if {$answer ne ""} { say $answer error }
    say "Simulation: $what"
    redraw
}

proc studio::showHelp {} {
    dialog::inform "Keys and mouse" [join {
        "Left drag: turn the view; on a selected item: move the selection"
        "Middle drag: pan    Right drag or wheel: zoom"
        "Click: select (Shift adds, Ctrl toggles), nothing picked clears"
        "D U N S E W: named views    F: fit    P: parallel / perspective"
        "Arrows: turn    + -: zoom    Delete: delete    Esc: deselect"
        "Ctrl+O open, Ctrl+S save, Ctrl+Z undo, Ctrl+Y redo"
    } \n]
}

proc studio::shortcuts {} {
    foreach {sequence command} {
        <Control-o> studio::openFile   <Control-n> studio::newModel
        <Control-s> studio::save       <Control-S> studio::saveAs
        <Control-z> studio::undo       <Control-y> studio::redo
        <Control-Z> studio::redo       <Control-a> studio::selectAll
        <Control-d> studio::copySelection  <Control-q> studio::quit
    } {
        bind . $sequence "$command; break"
    }
}

proc studio::build {} {
    variable S
    wm title . "modelr studio"
    wm geometry . 1100x760
    menus
    shortcuts

    ttk::panedwindow .pw -orient vertical
    ttk::panedwindow .pw.top -orient horizontal
    set S(w,frame) [frame .pw.top.view -width 780 -height 560 -background black -takefocus 0]
    ttk::frame .pw.top.side
    .pw.top add $S(w,frame) -weight 1
    .pw.top add .pw.top.side -weight 0

    set side .pw.top.side
    ttk::labelframe $side.layers -text Layers
    set tree [ttk::treeview $side.layers.tree -columns {sides mirror images} \
        -height 8 -selectmode browse]
    set S(w,layers) $tree
    $tree heading #0 -text Layer
    $tree heading sides -text Sides
    $tree heading mirror -text Mirror
    $tree heading images -text Images
    $tree column #0 -width 120
    foreach c {sides mirror images} { $tree column $c -width 52 -anchor center }
    ttk::scrollbar $side.layers.sb -command [list $tree yview]
    $tree configure -yscrollcommand [list $side.layers.sb set]
    pack $side.layers.sb -side right -fill y
    pack $tree -fill both -expand 1
    bind $tree <<TreeviewSelect>> studio::layerClicked
    bind $tree <Double-1> {studio::layerDoubleClicked %x %y}

    set p [ttk::labelframe $side.props -text Selection]
    set S(w,props) $p
    ttk::label $p.summary -textvariable studio::S(prop,summary)
    ttk::label $p.centre -textvariable studio::S(prop,centre)
    ttk::label $p.point -textvariable studio::S(prop,point)
    grid $p.summary - -sticky w -padx 6
    grid $p.centre - -sticky w -padx 6
    grid $p.point - -sticky w -padx 6 -pady {6 0}
    foreach c {x y z} {
        ttk::label $p.l$c -text [string toupper $c]
        ttk::entry $p.$c -textvariable studio::S(prop,$c) -width 14
        bind $p.$c <Return> studio::applyPoint
        grid $p.l$c $p.$c -sticky w -padx 6 -pady 1
    }
    ttk::button $p.apply -text Apply -command studio::applyPoint
    grid $p.apply - -pady 4
    pack $side.layers -fill both -expand 1 -padx 4 -pady 4
    pack $p -fill x -padx 4 -pady 4

    ttk::frame .pw.log
    set S(w,log) [text .pw.log.text -height 6 -wrap word -state disabled]
    $S(w,log) tag configure error -foreground red3
    $S(w,log) tag configure time -foreground grey50
    ttk::scrollbar .pw.log.sb -command [list $S(w,log) yview]
    $S(w,log) configure -yscrollcommand [list .pw.log.sb set]
    pack .pw.log.sb -side right -fill y
    pack $S(w,log) -fill both -expand 1
    .pw add .pw.top -weight 1
    .pw add .pw.log -weight 0

    ttk::label .status -textvariable studio::S(status) -anchor w -relief sunken -padding {4 1}
    pack .status -side bottom -fill x
    pack .pw -fill both -expand 1
    wm protocol . WM_DELETE_WINDOW studio::quit
    bind .status <Destroy> studio::cleanup
}

# Builds the window and opens the model (the sample without one).
#   studio::start ?-recent file? ?model?
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
