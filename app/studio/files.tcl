# The studio's files: open, add, reload, save, export, import, recent files.

# --- Files ------------------------------------------------------------------

set studio::modTypes {{{Models} {.mod}} {{All files} *}}

# Long work shows: the busy cursor over the window, and no second command
# starts until it is done.
proc studio::busy {text script} {
    variable S
    if {[refuseBusy]} { return -code return }
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

# The current document, for a command on it; when the studio is busy or
# no model is open, the command that asks returns 0 at once.
proc studio::docToWorkOn {} {
    variable S
    if {[refuseBusy] || $S(current) eq ""} { return -code return 0 }
    return $S(current)
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
    set d [docToWorkOn]
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
    set d [docToWorkOn]
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
    set d [docToWorkOn]
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
    set d [docToWorkOn]
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
            set data [modelText export.mod "could not copy the model"]
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

