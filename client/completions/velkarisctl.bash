# Completion of velkarisctl for bash.

_velkarisctl() {
    local verbs='write status percent add update set gauge run tail demo wait'
    local options='--device --quiet --timeout --ascii= --help --version'
    local current=${COMP_WORDS[COMP_CWORD]}
    local verb='' verbIndex=0 i

    # The word after --ascii arrives in pieces: "=" breaks words.
    local previous=${COMP_WORDS[COMP_CWORD - 1]}
    if [[ $previous == '=' ]]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    elif [[ $current == '=' ]]; then
        current=''
    fi
    COMPREPLY=()

    for ((i = 1; i < COMP_CWORD; ++i)); do
        case ${COMP_WORDS[i]} in
            -d | --device | -t | --timeout | --ascii)
                [[ ${COMP_WORDS[i + 1]} == '=' ]] && ((++i))
                ((++i))
                ;;
            -*) ;;
            *)
                verb=${COMP_WORDS[i]}
                verbIndex=$i
                break
                ;;
        esac
    done

    case $previous in
        -d | --device)
            mapfile -t COMPREPLY < <(compgen -f -- "$current")
            return
            ;;
        --ascii)
            mapfile -t COMPREPLY < <(compgen -W 'translit pass refuse' -- "$current")
            return
            ;;
        -t | --timeout | --seconds | --item | --label | -n | --lines)
            return
            ;;
    esac

    case $verb in
        '')
            mapfile -t COMPREPLY < <(compgen -W "$verbs $options" -- "$current")
            [[ ${COMPREPLY[0]-} == *= ]] && compopt -o nospace
            return
            ;;
        demo | wait) options+=' --seconds' ;;
        run) options+=' --item --label' ;;
        tail) options+=' --lines' ;;
    esac

    if [[ $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
        [[ ${COMPREPLY[0]-} == *= ]] && compopt -o nospace
    elif [[ $verb == run ]]; then
        if ((COMP_CWORD == verbIndex + 1)) || [[ $previous == -- ]]; then
            mapfile -t COMPREPLY < <(compgen -c -- "$current")
        else
            mapfile -t COMPREPLY < <(compgen -f -- "$current")
        fi
    elif [[ $verb == tail ]]; then
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
    fi
}

complete -o filenames -F _velkarisctl velkarisctl
