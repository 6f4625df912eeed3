# SPDX-License-Identifier: Apache-2.0
# shellcheck shell=bash
# Completion of grexctl's commands, options, groups, modules and logins, which it asks of grexctl itself.

# The first column of a table that grexctl prints for the element that the line names.
_grexctl_column() {
    grexctl "${element[@]}" "$@" 2>/dev/null </dev/null | awk 'NR > 1 { print $1 }'
}

# The words of the line that choose the element and the command.
_grexctl_read_line() {
    local i
    for ((i = 1; i < COMP_CWORD; i++)); do
        case ${COMP_WORDS[i]} in
        --config-dir | --var-dir | --context)
            element+=("${COMP_WORDS[i]}" "${COMP_WORDS[i + 1]}")
            ((i++))
            ;;
        --login | --group | --as) ((i++)) ;;
        -*) ;;
        *) words+=("${COMP_WORDS[i]}") ;;
        esac
    done
}

_grexctl_candidates() {
    local command=${words[*]:0:2}
    case $command in
    '') echo login session access users groups modules cache check explain drill fingerprint apply ;;
    users) echo list add passwd remove ;;
    cache) echo list remove ;;
    'users passwd' | 'users remove') ((${#words[@]} > 2)) || _grexctl_column users list ;;
    'cache remove') ((${#words[@]} > 2)) || _grexctl_column cache list ;;
    login | explain) _grexctl_column users list ;;
    access* | explain*) _grexctl_column modules ;;
    esac
}

_grexctl_options() {
    echo --config-dir --var-dir --context --json --verbose --help
    case ${words[*]:0:2} in
    '') echo --version ;;
    access*) echo --login --group ;;
    groups | 'users list') echo --as ;;
    'users add') echo --group ;;
    'users remove' | 'cache remove') echo --keep-admin ;;
    apply*) echo --dry-run --keep-admin ;;
    esac
}

_grexctl() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local element=() words=() candidates
    _grexctl_read_line
    case $previous in
    --config-dir | --var-dir)
        mapfile -t COMPREPLY < <(compgen -d -- "$current")
        return
        ;;
    --context) candidates=$(_grexctl_column modules) ;;
    --group | --as) candidates='User Admin SuperUser Monitor' ;;
    --login) candidates=$(_grexctl_column users list) ;;
    *)
        if [[ $current == -* ]]; then
            candidates=$(_grexctl_options)
        elif [[ ${words[*]} == apply ]]; then
            mapfile -t COMPREPLY < <(compgen -f -- "$current")
            return
        else
            candidates=$(_grexctl_candidates)
        fi
        ;;
    esac
    mapfile -t COMPREPLY < <(compgen -W "$candidates" -- "$current")
}

complete -F _grexctl grexctl
