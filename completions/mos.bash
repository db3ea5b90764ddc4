# Bash completion for mos.
#
# A long option takes the bare word that follows it as its value, whatever the option is:
# `mos --json list` is the option json with the value "list", and no command at all. So options are
# offered last, after the command word and its arguments, and never before the command word.

_mos_commands() {
    echo new init build run check clean add remove install update list tree package publish \
        login logout whoami search info cache help version
}

# The options of a command. Those that take a value are named in _mos, too.
_mos_options() {
    local general='--json --help -h --version -v -vv -vvv'
    case $1 in
    add) echo "--dev --path --git --branch --tag --rev --dry-run --offline $general" ;;
    build) echo "--release --workspace $general" ;;
    help | version) ;;
    install) echo "--locked --offline $general" ;;
    login) echo "--token --username --password $general" ;;
    publish) echo "--token $general" ;;
    run) echo "-- $general" ;;
    update) echo "--dry-run --offline $general" ;;
    *) echo "$general" ;;
    esac
}

# How many arguments stand before the options of a command.
_mos_arguments() {
    case $1 in
    add | cache | info | new | remove | search) echo 1 ;;
    *) echo 0 ;;
    esac
}

_mos_directories() {
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(compgen -d -- "$1")
}

_mos() {
    COMPREPLY=()
    # Bash hands `--path=dir` over as three words.
    local words=() word i
    for ((i = 1; i <= COMP_CWORD; i++)); do
        word=${COMP_WORDS[i]}
        if ((i > 1)) && [[ ${words[-1]} == --?* ]] &&
            [[ $word == '=' || ${COMP_WORDS[i - 1]} == '=' ]]; then
            words[-1]+=$word
        else
            words+=("$word")
        fi
    done
    local current=${words[-1]}
    unset 'words[-1]'

    # What stands before the cursor, read as mos reads it.
    local command= arguments=0 open_option=
    for word in "${words[@]}"; do
        if [[ -n $open_option && $word != -* ]]; then
            open_option=
            continue
        fi
        open_option=
        case $word in
        --)
            compopt -o default 2>/dev/null
            return
            ;;
        --*=*) ;;
        --*) open_option=$word ;;
        -?*) ;;
        *)
            if [[ -z $command ]]; then
                command=$word
            else
                ((++arguments))
            fi
            ;;
        esac
    done

    case $open_option in
    --path)
        _mos_directories "$current"
        return
        ;;
    --git | --branch | --tag | --rev | --token | --username | --password) return ;;
    esac

    local candidates=
    if [[ $current == --path=* && $command == add ]]; then
        _mos_directories "${current#--path=}"
        if [[ $COMP_WORDBREAKS != *=* ]]; then
            COMPREPLY=("${COMPREPLY[@]/#/--path=}")
        fi
        return
    elif [[ -z $command ]]; then
        candidates=$(_mos_commands)
    elif [[ $current == -* ]]; then
        if ((arguments >= $(_mos_arguments "$command"))); then
            candidates=$(_mos_options "$command")
        fi
    elif [[ $command == cache && $arguments -eq 0 ]]; then
        candidates='list clean path'
    fi
    # A bare word behind an option would be taken as its value.
    if [[ -z $open_option || $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$candidates" -- "$current")
    fi
}

complete -F _mos mos
