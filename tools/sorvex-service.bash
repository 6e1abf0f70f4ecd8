# Completion of sorvex-service for bash.

_sorvex_service() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command=${COMP_WORDS[1]} words=() names
    local configuration="--command --display-name --start --type --depends --group"
    local states="stopped starting stopping running continuing pausing paused"
    COMPREPLY=()
    if [ "$COMP_CWORD" -eq 1 ]; then
        mapfile -t words < <(sorvex-service --help 2>/dev/null | sed -n 's/^  \([a-z-]*\)  .*/\1/p')
        mapfile -t COMPREPLY < <(compgen -W "${words[*]} --help" -- "$current")
        return
    fi

    case $previous in
        --start) words=(auto manual disabled) ;;
        --type) words=(own shared) ;;
        --command)
            compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -f -- "$current")
            return
            ;;
        --timeout | --kill-after | --lines | --display-name | --group) return ;;
    esac
    if [ "${#words[@]}" -eq 0 ] && [[ $current == -* ]]; then
        case $command in
            list | status) words=(--json) ;;
            install | configure) read -ra words <<<"$configuration" ;;
            stop | restart) words=(--with-dependents --kill-after --timeout) ;;
            log) words=(--lines --follow) ;;
            stop-all) words=(--kill-after --timeout) ;;
            start | pause | continue | wait | start-automatic) words=(--timeout) ;;
        esac
        words+=(--help)
    fi
    if [ "${#words[@]}" -gt 0 ]; then
        mapfile -t COMPREPLY < <(compgen -W "${words[*]}" -- "$current")
        return
    fi

    case $command in
        list | install | start-automatic | stop-all) return ;;
        wait)
            mapfile -t COMPREPLY < <(compgen -W "$states" -- "$current")
            [ "$COMP_CWORD" -gt 2 ] && [ "${#COMPREPLY[@]}" -gt 0 ] && return
            COMPREPLY=()
            ;;
    esac
    # Names may hold blanks, so each is a line of its own and quoted as the word that is completed. No
    # name holds a backslash, and one with control characters is better typed by hand.
    mapfile -t names < <(sorvex-service list --json 2>/dev/null |
        sed -n 's/^{"name": "\(\([^"\\]\|\\.\)*\)".*/\1/p' | sed '/\\u/d; s/\\"/"/g')
    local name typed=${current//\\/}
    for name in "${names[@]}"; do
        case $current in
            \"*) [[ $name == "${typed:1}"* && $name != *[\"\$\`]* ]] && COMPREPLY+=("$name") ;;
            \'*) [[ $name == "${typed:1}"* && $name != *\'* ]] && COMPREPLY+=("$name") ;;
            *) [[ $name == "$typed"* ]] && COMPREPLY+=("$(printf %q "$name")") ;;
        esac
    done
}

complete -F _sorvex_service sorvex-service
