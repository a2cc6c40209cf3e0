# The studio's documents and their undo history.

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

# A document has changes when the state shown is not the one saved.
proc studio::updateDirty {d} {
    variable S
    set S(dirty,$d) [expr {$S(pos,$d) != $S(saved,$d)}]
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

# The current model's file text, saved as `name` in the scratch folder
# and read back; the error `failure` when the save fails.
proc studio::modelText {name failure} {
    set file [file join [scratch] $name]
    if {[modelr file save $file] ne "1"} { error $failure }
    set text [readBytes $file]
    file delete $file
    return $text
}

# The current model's state: {file-text selection}.
proc studio::capture {d} {
    set text [modelText capture.mod "could not keep the model's state in [scratch]"]
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
    updateDirty $d
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
    updateDirty $d
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
    updateDirty $d
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

