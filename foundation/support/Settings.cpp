#include "foundation/support/Settings.h"

#include "foundation/support/Guarded.h"

#include <map>
#include <mutex>

namespace halvane {
namespace {

struct Settings {
    std::mutex lock;
    std::map<Text, Text, std::less<>> values GUARDED_BY(lock);
};

Settings& TheSettings() {
    static Settings settings;
    return settings;
}

} // namespace

Text GetSetting(TextView name) {
    Settings& settings = TheSettings();
    const std::lock_guard guard(settings.lock);
    const auto found = settings.values.find(name);
    return found == settings.values.end() ? Text() : found->second;
}

void SetSetting(TextView name, Text value) {
    Settings& settings = TheSettings();
    const std::lock_guard guard(settings.lock);
    settings.values.insert_or_assign(Text(name), std::move(value));
}

void ClearSettings() {
    Settings& settings = TheSettings();
    const std::lock_guard guard(settings.lock);
    settings.values.clear();
}

} // namespace halvane
