# For tests of runs that are ended early: what the commands say about them, in a table. Each line: how it is recorded, its
# text, and how "runs show" explains it.
EARLY_ENDS='time_limit|time limit|ended at the time limit of its task
stopped|stopped|ended on request, or with its execution
budget|out of time|ended when the budget of its execution was used up
shutdown|shutdown|ended by the shutdown of the server
killed|killed|the process of the run was killed by its owner or by the system
interrupted|interrupted|interrupted: the process of the run had ended, so its exit status is unknown'

# shown_as TASK HOW: every command says this about the newest run of the task.
shown_as() {
  local task=$1 how text explanation recorded number
  IFS='|' read -r how text explanation < <(grep "^$2|" <<<"$EARLY_ENDS")
  recorded=\"$how\"
  [[ $how != interrupted ]] || recorded=null
  number=$(run_of "$task")
  same "runs list --json" "[\"failed\",\"$text\",$recorded]" \
    "$(eorva runs list --task "$task" --limit 1 --json | jq -c '.[0] | [.outcome, .outcome_text, .ended_by]')"
  same "runs show --json" "[\"failed\",\"$text\",$recorded]" \
    "$(eorva runs show "$number" --json | jq -c '[.outcome, .outcome_text, .ended_by]')"
  run -0 --separate-stderr eorva runs list --task "$task" --limit 1
  [[ ${lines[-1]} == *"  $text" || ${lines[-1]} == *[smhd]" $text" ]] || same "runs list" "... $text" "${lines[-1]}"
  run -0 eorva runs show "$number"
  shows_member "how it ended" "$explanation"
  run -0 eorva task show "$task"
  shows_member "how it ended" "$text"
  run -0 eorva explain "$task"
  says "with: $text"
}
