# Under the sanitizers (scripts/sanitize.sh) every process that loads the
# extension needs the ASan runtime preloaded, and nothing else should get
# it (Xvfb, xauth and the other helper programs are not ours). The test
# runs with LD_PRELOAD set; it is taken out of the environment here and
# put back only for the interpreters the tests start.
if {![info exists ::modelrPreload]} {
    set ::modelrPreload {}
    if {[info exists ::env(LD_PRELOAD)]} {
        set ::modelrPreload $::env(LD_PRELOAD)
        unset ::env(LD_PRELOAD)
    }
}

# The command words that start `program` (a tclsh or wish) with the
# runtime preloaded when there is one.
proc withPreload {program} {
    if {$::modelrPreload eq ""} { return [list $program] }
    return [list env LD_PRELOAD=$::modelrPreload $program]
}
