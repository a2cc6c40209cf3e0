# A short tour of the engine from tclsh: load the package, make a model and
# talk to it through the one command, modelr.
set here [file dirname [file normalize [info script]]]
lappend auto_path [file join $here .. build]
puts "modelr [package require modelr] loaded"

proc onError {message} { puts "  error procedure: $message" }
proc onStatus {message} { puts "  status: $message" }
modelr callback error onError
modelr callback status onStatus

puts "model before any is made: [modelr get name]"
puts "create model robot:"
set id [modelr create model robot]
puts "  model id $id, current model [modelr get name]"

puts "words are split at spaces, so these are the same command:"
puts "  modelr get name          -> [modelr get name]"
puts "  modelr {get name}        -> [modelr {get name}]"
puts "  modelr please get name   -> [modelr please get name]"

puts "failures go to the error procedure, never raise:"
modelr frobnicate
modelr get colour
puts "  [modelr create model] (create answers in its result)"

puts "a message line for the view:"
modelr message hello from the demo
puts "system runs a shell command:"
modelr system echo {  } hello from the shell
