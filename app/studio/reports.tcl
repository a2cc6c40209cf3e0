# The studio's questions and reports: dialogs a test can answer, the log.

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

