# Formats a counterexample from the output of the model: one sentence per line, and one sentence for
# an announcement without an event in between.
function print_named(text) {
    gsub(/host 1/, "host A", text)
    gsub(/host 2/, "host B", text)
    gsub(/partner 1/, "partner P", text)
    gsub(/partner 2/, "partner Q", text)
    gsub(/partner 3/, "partner R", text)
    print text
}
function print_acquisition() {
    if (acquisition != "") print_named(acquisition)
    acquisition = ""
}
!/^(host|partner|the bus|broken)/ { next }
$3 == "acquires" { print_acquisition(); acquisition = $0; next }
$3 == "releases" && acquisition == $1 " " $2 " acquires " $4 {
    acquisition = ""
    print_named($1 " " $2 " announces " $4)
    next
}
{ print_acquisition(); print_named($0) }
/^broken/ { exit }
