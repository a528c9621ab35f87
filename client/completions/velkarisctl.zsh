#compdef velkarisctl
# Completion of velkarisctl for zsh.

_velkarisctl() {
    local curcontext=$curcontext state line
    local -a global verbs
    global=(
        '(-d --device)'{-d+,--device=}'[node of the console]:node:_files'
        '(-q --quiet)'{-q,--quiet}'[say nothing]'
        '(-t --timeout)'{-t+,--timeout=}'[give up after this many seconds]:seconds:'
        '--ascii=[text beyond ASCII]:mode:(translit pass refuse)'
        '(- *)'{-h,--help}'[show help]'
        '(- *)'{-V,--version}'[show the version]'
    )
    verbs=(
        'write:append lines of text'
        'status:set the text of the status line'
        'percent:set the overall percent'
        'add:add a progress item'
        'update:set the percent of a progress item'
        'set:add a progress item, or set its percent'
        'gauge:show percents from standard input as a progress item'
        'run:run a command and show how far it is'
        'tail:follow files, also when they are replaced'
        'demo:play a sample flashing session'
        'wait:wait until a console answers'
    )

    _arguments -C -S -A '-*' $global '1:verb:->verb' '*::argument:->argument' && return
    case $state in
        verb) _describe -t verbs verb verbs ;;
        argument)
            case $line[1] in
                write) _arguments -A '-*' $global '*:text:' ;;
                status) _arguments -A '-*' $global '1:text:' ;;
                percent) _arguments -A '-*' $global '1:percent:' ;;
                add) _arguments -A '-*' $global '1:name:' '2:label:' '3:percent:' ;;
                update) _arguments -A '-*' $global '1:name:' '2:percent:' ;;
                set) _arguments -A '-*' $global '1:name:' '2:label:' '3:percent:' ;;
                gauge) _arguments -A '-*' $global '1:name:' '2:label:' ;;
                run)
                    _arguments -A '-*' $global '--item=[name of the item]:name:' \
                        '--label=[label of the item]:label:' '*::command:_normal'
                    ;;
                tail)
                    _arguments -A '-*' $global \
                        '(-n --lines)'{-n+,--lines=}'[lines to begin with]:lines:' '*:file:_files'
                    ;;
                demo | wait) _arguments $global '--seconds=[how long]:seconds:' ;;
            esac
            ;;
    esac
}

_velkarisctl "$@"
