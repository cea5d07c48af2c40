#!/bin/sh
# The tool as three processes: serve publishes the example rules, hw-agent
# programs them, show prints them with their status; serve killed with
# SIGKILL comes back with its rules from the journal. Every wait is bounded.
#
#   processes.sh FLOWSPEC RULES
set -u
flowspec=$1
rules=$2
state=$(mktemp -d)
trap 'kill -9 $serve $agent 2>/dev/null; rm -rf "$state"' EXIT
fail() { echo "FAIL: $*"; exit 1; }

"$flowspec" serve --state "$state" "$rules" --for 20000 > "$state/serve.out" 2>&1 &
serve=$!
"$flowspec" hw-agent --state "$state" --for 20000 > "$state/agent.out" 2>&1 &
agent=$!

# Wait (at most 10 s) until every rule has a status.
i=0
while :; do
  "$flowspec" show --state "$state" > "$state/show.out" 2>&1
  rules=$(grep -c '^vrf ' "$state/show.out")
  waiting=$(grep -c 'Not programmed yet' "$state/show.out")
  [ "$rules" -gt 0 ] && [ "$waiting" -eq 0 ] && break
  i=$((i + 1)); [ $i -lt 100 ] || fail "no status after 10 s: $(cat "$state/show.out")"
  sleep 0.1
done
[ "$rules" -eq 45 ] || fail "expected 45 rules, got $rules"
grep -q '^vrf 0  198.51.100.0/24;\*;IP:=6;P:=179;  Programmed$' "$state/show.out" ||
  fail "rule IP:=6;P:=179 not Programmed: $(cat "$state/show.out")"
grep -q 'Not processed: infeasible: Destination Port$' "$state/show.out" ||
  fail "the infeasible rule is not reported"
"$flowspec" show --state "$state" --json | grep -q '"status": "Programmed"' || fail "no JSON"

# serve killed and started again without files: the journal brings the
# rules back, and the agent follows.
kill -9 $serve
wait $serve 2>/dev/null
"$flowspec" serve --state "$state" --for 20000 > "$state/serve2.out" 2>&1 &
serve=$!
i=0
until grep -q 'serving 45 rules' "$state/serve2.out" 2>/dev/null; do
  i=$((i + 1)); [ $i -lt 100 ] || fail "serve did not come back: $(cat "$state/serve2.out")"
  sleep 0.1
done
"$flowspec" show --state "$state" > "$state/show2.out" 2>&1
[ "$(grep -c '^vrf ' "$state/show2.out")" -eq 45 ] || fail "rules lost: $(cat "$state/show2.out")"
echo PASS
