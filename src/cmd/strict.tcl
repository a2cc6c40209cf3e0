# package require modelr::strict
#
# The modelr command for script writers who want Tcl errors: `mr <family>
# ...` runs `modelr <family> ...` (a command of the extension itself, so
# that a call costs little more than modelr's). Whatever the command refuses (a usage text, an
# unknown word, a refusal of the document, a file that would not load or
# save) becomes a Tcl error with the message and the error code
# {MODELR <family> USAGE|UNKNOWN|NOMODEL|FILE|REFUSED}; results pass
# through unchanged. The error procedure registered with
# `modelr callback error` is still called as before. `mr add triangle`
# and `mr add line` answer the number of the polygon they made.
package require modelr 1.0

if {[info commands ::mr] eq ""} {
    rename ::modelr::strict::call ::mr
}

package provide modelr::strict 1.0
