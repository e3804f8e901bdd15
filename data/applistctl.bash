# Bash completion of the verbs, options and files of applistctl.

_applistctl() {
    local word=$2 previous=$3 verb="" topic="" i
    local options="--bus --help --version -h"
    COMPREPLY=()

    # Bash splits "--read=FILE" into three words.
    if [ "$previous" = = ]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    elif [ "$word" = = ]; then
        word=""
    fi

    for ((i = 1; i < COMP_CWORD; ++i)); do
        # The value of --bus is no verb.
        case ${COMP_WORDS[i - 1]} in
        --bus) continue ;;
        =) [ "${COMP_WORDS[i - 2]}" = --bus ] && continue ;;
        esac
        case ${COMP_WORDS[i]} in
        host | partner | monitor | check | help)
            if [ "$verb" = help ]; then
                topic=${COMP_WORDS[i]}
            elif [ "$verb" = check ] && [ "${COMP_WORDS[i]}" = partner ]; then
                verb=check-partner
            elif [ "$verb" = check ] && [ "${COMP_WORDS[i]}" = host ]; then
                verb=check-host
            elif [ -z "$verb" ]; then
                verb=${COMP_WORDS[i]}
            fi
            ;;
        esac
    done

    # The value of the previous option.
    case $previous in
    --script | --read | --baseline | --junit)
        mapfile -t COMPREPLY < <(compgen -f -- "$word")
        return
        ;;
    --restart | --drive)
        mapfile -t COMPREPLY < <(compgen -c -- "$word")
        return
        ;;
    --policies)
        mapfile -t COMPREPLY < <(compgen -d -- "$word")
        return
        ;;
    --bus | --count | --limit | --only | --repeat | --seconds | --timeout | --wait) return ;;
    esac

    case $verb in
    partner) options+=" --script" ;;
    monitor) options+=" --all --count --json --read --seconds" ;;
    check | check-host) options+=" --limit --policies" ;;
    check-partner)
        options+=" --baseline --drive --json --junit --limit --list --only --repeat --restart"
        options+=" --timeout --wait"
        ;;
    esac

    if [ "${word:0:1}" = - ]; then
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
    elif [ -z "$verb" ]; then
        mapfile -t COMPREPLY < <(compgen -W "host partner monitor check help" -- "$word")
    elif [ "$verb" = help ] && [ -z "$topic" ]; then
        mapfile -t COMPREPLY < <(compgen -W "host partner monitor check" -- "$word")
    elif [ "$verb" = check ] || [ "$topic" = check ]; then
        mapfile -t COMPREPLY < <(compgen -W "host partner" -- "$word")
    elif [ "$verb" = host ]; then
        mapfile -t COMPREPLY < <(compgen -d -- "$word")
    fi
}

complete -o filenames -F _applistctl applistctl
