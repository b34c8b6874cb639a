#include "foundation/support/Settings.h"

#include "foundation/support/Mutex.h"

#include <map>

namespace halvane {
namespace {

struct Settings {
    Mutex lock;
    std::map<Text, Text, std::less<>> values GUARDED_BY(lock);
};

Settings& TheSettings() {
    static Settings settings;
    return settings;
}

} // namespace

Text GetSetting(TextView name) {
    Settings& settings = TheSettings();
    const MutexLock guard(settings.lock);
    const auto found = settings.values.find(name);
    return found == settings.values.end() ? Text() : found->second;
}

void SetSetting(TextView name, Text value) {
    Settings& settings = TheSettings();
    const MutexLock guard(settings.lock);
    settings.values.insert_or_assign(Text(name), std::move(value));
}

void ClearSettings() {
    Settings& settings = TheSettings();
    const MutexLock guard(settings.lock);
    settings.values.clear();
}

} // namespace halvane
