# shellcheck shell=bash
# Read by the shell of scripts/run --shell at its start, after the user's own file.
# shellcheck disable=SC1090,SC1091
[ ! -r ~/.bashrc ] || . ~/.bashrc
# The user's file may have changed it.
PATH=$QUON_TOP/build/release/bin:$PATH
for completion in "$QUON_TOP"/tools/*/completion/*.bash; do
    . "$completion"
done
unset completion
PS1='[quon-mcu world] \w\$ '
echo "Inside the world of scripts/run; for example: quon-mcu status, man quon-mcu. exit leaves it."
