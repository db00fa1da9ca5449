#include <quon_log.h>
#include <string.h>

static unsigned seen;

static void remember(QnLogRecord record) {
    seen = record.level;
}

int main(void) {
    const unsigned char data[] = {0x41, 0x42};
    char line[QN_LOG_LINE_SIZE];
    QnLogProfile profile;
    memset(&profile, 0, sizeof(profile));
    if (QnLogGetProfile(&profile) != 0) {
        return 1;
    }
    profile.fmt_mask = QN_LOG_FMT_TAG;
    profile.color = 0;
    profile.level_limit = QN_LOG_DEBUG;
    profile.hook = remember;
    QnLogSetProfile(profile);
    QnLogPrint(QN_LOG_WARN, "USER", "quon_log", __func__, __LINE__, "%d\n", 42);
    QnLogHexDump("dump", 2, data, sizeof(data));
    return seen == QN_LOG_WARN && qn_log_strcpy(0, line, "abc") == 3 ? 0 : 2;
}
