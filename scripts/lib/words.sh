# shellcheck shell=bash
# Names and words that docs/STYLE.md settles and that a pattern can find; for scripts/lint words.
# Each row: what to say about a line, a Perl expression that finds it, and the files to look at.

word_rows() { # FUNCTION, called with each row
    local row=$1
    local code=('*.c' '*.cpp' '*.h')
    local all=(':!docs/STYLE.md' ':!scripts/lib/words.sh' ':!tests/docs/words_test.cpp')
    # Their formats are the contract's own choice.
    local named_formats=(':!quon_mcu_daemon/src/query_handlers.cpp'
        ':!quon_mcu_daemon/src/shell_services.cpp' ':!quon_mcu_daemon/hal/network/src/mcu_wlan.cpp')

    "$row" 'a constant is named kName' \
        '^\s*(inline |static )*constexpr (?!.*\boperator\b)(?!bus_service quon_mcu_)[^=({;]*[ *&](?!k[A-Z0-9])[A-Za-z_]\w*(\[[^]]*\])*\s*(=|\{|;)' \
        "${code[@]}"
    "$row" 'a constant is named kName' \
        '^(static )?const (std::)?\w+(<[^>]*>)? (?!k[A-Z0-9])\w+(\[[^]]*\])*\s*(=|\{)' "${code[@]}"
    "$row" 'a constant of a source is no macro without arguments' \
        '^#define [A-Z][A-Z0-9_]* +(\(?-?[0-9]|[\x27])' '*.cpp' ':!tests/support/*'
    "$row" 'what has no cause is spurious, not "unfounded"' '\b[Uu]nfounded\b' "${all[@]}"
    "$row" 'what may fail without harm is best effort, not a wish' '\b[Ww]ish(es)?\b' "${all[@]}"
    "$row" 'what lies outside is beyond, not behind' \
        '\b(byte|bytes|room|read|written|bytes that lie) behind\b' "${all[@]}"
    "$row" 'what lies outside is beyond the end, not past it' '\bpast (the|its) end\b' "${all[@]}"
    "$row" 'what goes around something is bypassing it, not past it' \
        '[,(] ?past (the )?(log|handler|faults)\b' "${all[@]}"
    "$row" 'a comment says the thing itself, not that it is documented' \
        '\b[Dd]ocumented\b|Documented[A-Z]|\b[Tt]he documents? (say|state|name|give|list)' \
        "${all[@]}"
    "$row" 'a bounded copy or format of device code is one of securec.h' \
        '\b(memcpy|memmove|memset|strcpy|strncpy|strcat|sprintf|snprintf|vsnprintf)\(' \
        'dbus/*.cpp' 'src/*.cpp' 'quon_mcu_daemon/*.cpp' "${named_formats[@]}"
    "$row" "a log call goes through the module's macro" '^\s*QnLogPrint\((?!.*__VA_ARGS__)' \
        'common/queue/*.cpp' 'quon_mcu_daemon/*.cpp' ':!quon_mcu_daemon/hal/hi3861l/src/hi3861l_context.cpp'
    "$row" 'no reminder stays in a source' '(//|#|/\*).*\b(TODO|FIXME|XXX|HACK)\b' "${all[@]}"
    "$row" 'a comment is no banner' '^\s*(//|#|\*)\s*[-=*/#]{8,}\s*$' "${all[@]}"
}
