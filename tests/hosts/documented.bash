# Runs command lines of documents, as documented_commands prints them. The caller ends at the first failure (set -e).

# run_lines LEAST: runs the lines on standard input in this shell; at least LEAST lines are required. Each exits with 0,
# unless it ends with "# ends with N", and prints what the document shows.
run_lines() {
  local line command shown wanted status count=0
  while IFS= read -r line; do
    eval "line=($line)"
    command=${line[0]} shown=${line[1]:-}
    wanted=0
    [[ $command =~ '# ends with '([0-9]+)$ ]] && wanted=${BASH_REMATCH[1]}
    echo "\$ $command"
    status=0
    if [[ -n $shown ]]; then
      run_and_compare "$command" "$shown" || status=$?
    else
      eval "$command" </dev/null 3>&- || status=$?
    fi
    if ((status != wanted)); then
      echo "expected exit status $wanted, got $status: $command" >&2
      return 1
    fi
    count=$((count + 1))
  done
  if ((count < $1)); then
    echo "expected at least $1 command lines, got $count" >&2
    return 1
  fi
}

# run_and_compare COMMAND SHOWN: runs the command in this shell; its output has all lines that are shown, in this order.
run_and_compare() {
  local status=0 file missing
  file=$(mktemp)
  eval "$1" </dev/null 3>&- >"$file" 2>&1 || status=$?
  cat "$file"
  missing=$(diff <(comparable <<<"$2") <(comparable <"$file") | sed -n 's/^< //p')
  rm "$file"
  [[ -z $missing ]] || { printf 'the document shows:\n%s\n' "$missing" >&2; return 99; }
  return "$status"
}

# Without what differs from run to run: times, durations, sizes, process ids, folders of runs, blanks between columns, and lines of "...".
comparable() {
  sed -E 's/[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9:]{8}/TIME/g; s/\b[0-9.]+ ?(ms|s|B|[KMGT]iB)\b/N \1/g; s/process [0-9]+/process N/g; s,/[0-9]{10}/,/RUN/,g
    s/ +/ /g; s/ $//; /^ *\.\.\.$/d'
}
