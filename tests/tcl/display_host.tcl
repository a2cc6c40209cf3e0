# For test files that need a view: source this first. Run by tclsh (as
# ctest does), it starts the same file again in wish under a private Xvfb
# with GLX and exits with that run's status; in wish it does nothing, so
# the file goes on to source common.tcl and run its tests there.
source [file join [file dirname [file normalize [info script]]] preload.tcl]
if {![info exists ::tk_version]} {
    set script [file normalize [info script]]
    if {[info exists ::argv0]} { set script [file normalize $::argv0] }
    if {[auto_execok xvfb-run] eq ""} {
        puts "skipped: no xvfb-run for the view tests"
        exit 0
    }
    # The GL driver is unloaded when the process ends, and what it
    # allocated can no longer be traced to it: under the sanitizers the
    # view tests check memory errors but not leaks.
    if {$::modelrPreload ne ""} {
        if {[info exists ::env(ASAN_OPTIONS)]} {
            append ::env(ASAN_OPTIONS) :detect_leaks=0
        } else {
            set ::env(ASAN_OPTIONS) detect_leaks=0
        }
    }
    set status [catch {
        exec xvfb-run -a -s "-screen 0 1280x1024x24 +extension GLX" \
            {*}[withPreload wish] $script >@stdout 2>@stderr
    } result options]
    if {$status} {
        set code [lindex [dict get $options -errorcode] 2]
        if {$code eq ""} { puts stderr $result; set code 1 }
        exit $code
    }
    exit 0
}
