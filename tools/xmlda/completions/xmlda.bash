# bash completion for xmlda: commands, options, and item names, for which the server is asked.

# Prints the options of a command.
_xmlda_options() {
  local common='--help --color --json --show-xml --timeout --max-reply --ca --insecure --certificate --private-key --user'
  case $1 in
    status) echo "$common" ;;
    browse) echo "$common --recursive --properties --values --names --item-path" ;;
    read) echo "$common --values --recursive --items --no-quality --utc --item-path" ;;
    get) echo "$common --no-quality --item-path" ;;
    write) echo "$common --type --without-values --dry-run --force --utc --item-path" ;;
    watch) echo "$common --interval --for --count --retry --recursive --items --no-quality --utc --item-path" ;;
    *) echo '--help --version' ;;
  esac
}

_xmlda_types() {
  local type
  for type in boolean string double float decimal long int short byte unsignedLong unsignedInt unsignedShort \
    dateTime duration; do
    echo "$type ArrayOf${type^}"
  done
  echo unsignedByte
}

# Whether an option takes its value from the next word.
_xmlda_takes_value() {
  case $1 in
    --timeout | --max-reply | --ca | --certificate | --private-key | --user | --item-path | --type) return 0 ;;
    --interval | --for | --count | --retry | --items | --color) return 0 ;;
    *) return 1 ;;
  esac
}

# Prints the item names that begin with $1 and are in the deepest branch whose name it begins with. The other
# arguments are the URL and the options for the connection.
_xmlda_items() {
  local current=$1 branch='' names name next
  shift
  for _ in 1 2 3 4 5 6 7 8 9 10; do
    names=$(xmlda browse --names --timeout 2 "$@" "$branch" 2>/dev/null) || return
    next=''
    while IFS= read -r name; do
      if [[ $name != "$branch" && $current == "$name"* && ${#name} -gt ${#next} ]]; then
        next=$name
      fi
    done <<<"$names"
    [[ -n $next ]] || break
    branch=$next
  done
  while IFS= read -r name; do
    [[ $name == "$current"* ]] && printf '%s\n' "$name"
  done <<<"$names"
}

_xmlda() {
  # Words are taken from the line itself: bash also breaks them at ":" and "=", which URLs and items hold.
  local line=${COMP_LINE:0:COMP_POINT} words current previous='' command='' url='' connection=() i word
  read -ra words <<<"$line"
  current=''
  if [[ $line != *[[:space:]] ]]; then
    current=${words[-1]}
    unset 'words[-1]'
  fi

  for ((i = 1; i < ${#words[@]}; ++i)); do
    word=${words[i]}
    if _xmlda_takes_value "$word"; then
      case $word in
        --ca | --certificate | --private-key | --user | --item-path) connection+=("$word" "${words[i + 1]-}") ;;
      esac
      ((++i))
    elif [[ $word == --insecure ]]; then
      connection+=("$word")
    elif [[ $word != -* && -z $command ]]; then
      command=$word
    elif [[ $word != -* && -z $url ]]; then
      url=$word
    fi
  done
  [[ ${#words[@]} -gt 1 ]] && previous=${words[-1]}

  COMPREPLY=()
  if [[ $previous == --ca || $previous == --certificate || $previous == --private-key ]]; then
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
    compopt -o filenames 2>/dev/null
  elif [[ $previous == --type ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$(_xmlda_types)" -- "$current")
  elif _xmlda_takes_value "$previous"; then
    return
  elif [[ $current == -* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$(_xmlda_options "$command")" -- "$current")
  elif [[ -z $command ]]; then
    mapfile -t COMPREPLY < <(compgen -W 'status browse read get write watch' -- "$current")
  elif [[ -z $url ]]; then
    mapfile -t COMPREPLY < <(compgen -W 'http:// https://' -- "$current")
    compopt -o nospace 2>/dev/null
  elif [[ $command != status ]]; then
    mapfile -t COMPREPLY < <(_xmlda_items "$current" "${connection[@]}" "$url")
    if [[ $command == write ]]; then
      COMPREPLY=("${COMPREPLY[@]/%/=}")
    fi
    compopt -o nospace 2>/dev/null
  fi

  # What stands in front of the last ":" or "=" is another word to bash.
  local done_part=${current%"${current##*[:=]}"}
  COMPREPLY=("${COMPREPLY[@]#"$done_part"}")
}

complete -F _xmlda xmlda
