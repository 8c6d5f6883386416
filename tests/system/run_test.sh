#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# ./run checks its arguments before it installs or builds anything, and says what is wrong.
# usage: run_test.sh

set -u
cd "$(dirname "$0")/../.." || exit 1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
failures=0

# Fakes of all programs that install or build: they record the call and fail.
mkdir "$scratch/bin"
for program in cmake ctest apt-get sudo debootstrap; do
	cat >"$scratch/bin/$program" <<-END
		#!/bin/sh
		echo "\$(pwd): $program \$*" >>"$scratch/called"
		exit 1
	END
	chmod +x "$scratch/bin/$program"
done
PATH=$scratch/bin:$PATH
unset CC CXX

fail()
{
	echo "FAILED: $1"
	sed 's/^/  /' "$scratch/answer"
	failures=$((failures + 1))
}

run()
{
	rm -f "$scratch/called"
	"$run" "$@" >"$scratch/answer" 2>&1 </dev/null
	status=$?
}
run=./run

### Refused with 2 and the reason; nothing is called
while IFS='|' read -r words reason; do
	# shellcheck disable=SC2086 # the words of a command line
	run $words
	[ $status = 2 ] || fail "./run $words: status $status"
	grep -qxF "./run: $reason" "$scratch/answer" || fail "./run $words does not say: $reason"
	[ ! -e "$scratch/called" ] || fail "./run $words: $(cat "$scratch/called")"
done <<'END'
|what shall I do?
dance|unknown verb dance
demo --controller ti-09|--controller takes ti-06, ti-08 or qualcomm, not ti-09
demo --controller=ti-09|--controller takes ti-06, ti-08 or qualcomm, not ti-09
demo --controller|--controller needs a value
demo --seconds 0|--seconds takes a whole number from 1 to 86400, not 0
demo --seconds 86401|--seconds takes a whole number from 1 to 86400, not 86401
demo --seconds=99999999999999999999|--seconds takes a whole number from 1 to 86400, not 99999999999999999999
demo --seconds 1.5|--seconds takes a whole number from 1 to 86400, not 1.5
demo --seconds 08|--seconds takes a whole number from 1 to 86400, not 08
demo now|unknown option now
test --fast|unknown option --fast
coverage now|unknown option now
mutants --count 0|--count takes a whole number from 1, not 0
mutants --seed x|--seed takes a whole number, not x
mutants --colour red|unknown option --colour
fuzz --seconds 0|--seconds takes a whole number from 1 to 86400, not 0
fuzz --target nothing|there is no fuzz program nothing
cross --seconds 3|unknown option --seconds
ap --seconds 0|--seconds takes a whole number from 1 to 86400, not 0
ap --stay --now|unknown option --now
ap --listen yes|unknown option yes
soak --minutes 0|--minutes takes a whole number from 1, not 0
soak --seed -1|--seed takes a whole number, not -1
soak --controller ti-09|--controller takes ti-06, ti-08, qualcomm or all, not ti-09
soak --steps=|--steps takes a whole number from 1, not 
soak --crowd 0|--crowd takes a whole number from 1, not 0
soak now|unknown option now
heal everything|unknown option everything
heal --jobs 0|--jobs takes a whole number from 1, not 0
heal --probe soon|--probe takes a whole number from 1, not soon
heal --only|--only needs a value
heal --colour red|unknown option --colour
bench --long|unknown option --long
fleet|how many access points?
fleet 0|fleet takes a whole number from 1, not 0
fleet 2 many|fleet takes a whole number from 1, not many
fleet 2 --seconds 0|--seconds takes a whole number from 1 to 86400, not 0
fresh --quick|unknown option --quick
needs|the needs of what?
needs rest|rest is no verb that needs something
END

### Accepted: it goes on to build
for words in 'demo --seconds=86400 --controller=qualcomm' 'soak --minutes 1 --seed=7' \
	'soak --crowd 5000' 'heal --only cut silent --jobs 2' 'fleet 1 2 --seconds=3' \
	'ap --test --stay' 'ap --listen' 'bench --short'; do
	# shellcheck disable=SC2086 # the words of a command line
	run $words
	[ $status = 1 ] || fail "./run $words: status $status"
	[ -e "$scratch/called" ] || fail "./run $words: nothing is built"
done

### A user who is not root installs with sudo, without hidden questions
mkdir "$scratch/few"
for program in dirname readlink sed; do
	ln -s "$(command -v $program)" "$scratch/few/$program"
done
printf '#!/bin/sh\necho 1000\n' >"$scratch/few/id"
chmod +x "$scratch/few/id"
cp "$scratch/bin/sudo" "$scratch/bin/apt-get" "$scratch/few"
rm -f "$scratch/called"
PATH=$scratch/few "$run" needs demo >"$scratch/answer" 2>&1 </dev/null && fail 'as a user it ends with 0'
grep -q ': sudo env DEBIAN_FRONTEND=noninteractive apt-get -qq update$' "$scratch/called" ||
	fail "as a user it calls $(cat "$scratch/called")"

### Help for each verb, and for all
run --help
[ $status = 0 ] || fail "--help: status $status"
cp "$scratch/answer" "$scratch/help"
sed -n 's|^  \./run \([a-z]*\).*|\1|p' "$scratch/help" >"$scratch/verbs"
while read -r verb; do
	run "$verb" --help
	[ $status = 0 ] || fail "$verb --help: status $status"
	grep -q "^  \./run $verb\>" "$scratch/answer" || fail "$verb --help tells nothing of it"
	[ "$(grep -c '^  \./run ' "$scratch/answer")" = 1 ] || fail "$verb --help tells of others"
	grep -q "\./run $verb\>" "$scratch/help" || fail "--help tells nothing of $verb"
	[ ! -e "$scratch/called" ] || fail "$verb --help: $(cat "$scratch/called")"
done <"$scratch/verbs"

### It says that it ignores the environment's compiler
CXX=clang++ run demo
grep -q '^\./run: CC and CXX are ignored' "$scratch/answer" || fail 'nothing is said of CXX'

### It finds its folder through a link
ln -s "$PWD/run" "$scratch/link"
run=$scratch/link
here=$(pwd -P)
(cd "$scratch" && run demo && exit 1)
grep -q "^$here: " "$scratch/called" || fail 'through a link it works in another folder'
run=./run

### One line for a folder without write permission
if [ "${VORLIND_SANDBOX-}" = private ]; then
	mkdir "$scratch/view"
	mount --bind "$here" "$scratch/view"
	mount -o remount,bind,ro "$scratch/view"
	run=$scratch/view/run
	run demo
	[ $status = 1 ] || fail "a checkout that is only read: status $status"
	[ "$(wc -l <"$scratch/answer")" = 1 ] || fail 'a checkout that is only read takes lines'
	grep -qF "$scratch/view cannot be written to" "$scratch/answer" ||
		fail 'a checkout that is only read is not told'
	umount "$scratch/view"
else
	echo 'not looked at: a checkout that is only read, for no file system can be mounted here'
fi
exit $((failures > 0))
