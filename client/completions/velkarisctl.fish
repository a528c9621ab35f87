# Completion of velkarisctl for fish.

set -l verbs write status percent add update set gauge run tail demo wait

complete -c velkarisctl -f
complete -c velkarisctl -s d -l device -r -F -d 'Node of the console'
complete -c velkarisctl -s q -l quiet -d 'Say nothing'
complete -c velkarisctl -s t -l timeout -x -d 'Give up after this many seconds'
complete -c velkarisctl -l ascii -x -a 'translit pass refuse' -d 'Text beyond ASCII'
complete -c velkarisctl -s h -l help -d 'Show help'
complete -c velkarisctl -s V -l version -d 'Show the version'

set -l none "not __fish_seen_subcommand_from $verbs"
complete -c velkarisctl -n $none -a write -d 'Append lines of text'
complete -c velkarisctl -n $none -a status -d 'Set the text of the status line'
complete -c velkarisctl -n $none -a percent -d 'Set the overall percent'
complete -c velkarisctl -n $none -a add -d 'Add a progress item'
complete -c velkarisctl -n $none -a update -d 'Set the percent of a progress item'
complete -c velkarisctl -n $none -a set -d 'Add a progress item, or set its percent'
complete -c velkarisctl -n $none -a gauge -d 'Show percents from standard input'
complete -c velkarisctl -n $none -a run -d 'Run a command and show how far it is'
complete -c velkarisctl -n $none -a tail -d 'Follow files'
complete -c velkarisctl -n $none -a demo -d 'Play a sample flashing session'
complete -c velkarisctl -n $none -a wait -d 'Wait until a console answers'

complete -c velkarisctl -n '__fish_seen_subcommand_from demo wait' -l seconds -x -d 'How long'
complete -c velkarisctl -n '__fish_seen_subcommand_from run' -l item -x -d 'Name of the item'
complete -c velkarisctl -n '__fish_seen_subcommand_from run' -l label -x -d 'Label of the item'
complete -c velkarisctl -n '__fish_seen_subcommand_from run' \
    -a '(__fish_complete_subcommand --fcs-skip=2)'
complete -c velkarisctl -n '__fish_seen_subcommand_from tail' -s n -l lines -x \
    -d 'Lines to begin with'
complete -c velkarisctl -n '__fish_seen_subcommand_from tail' -F
