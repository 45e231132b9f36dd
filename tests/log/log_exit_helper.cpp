// Records N run-log entries through the shared manager and returns from main
// at once: the log file must still receive every one of them.
#include "log/ZQLogManager.h"

#include <cstdlib>

int main(int argc, char* argv[]) {
    const int count = argc > 1 ? std::atoi(argv[1]) : 100;
    ZQLogManager* manager = ZQLogManager::sharedInstance();
    for (int i = 0; i < count; ++i) {
        manager->recordRunLogP4("main", 0, QString::number(i), ZQLogType::Utility);
    }
    return 0;
}
