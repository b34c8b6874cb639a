#pragma once

#include "foundation/support/Process.h"
#include "tests/JumpingClock.h"
#include "tests/windows/Registry.h"
#include "tests/windows/probe/Probe.h"
#include "tradeapi/com/Com.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace halvane {

// Where the test's program lies there is a folder for the component two floors up.
inline Text ProbeFile() {
    constexpr TextView kRoot = L"OvaroRelease";
    const Text folder = ExecutableFolder();
    return folder.substr(0, folder.find(kRoot) + kRoot.size()) + L"\\Components\\OVTradeAPI64.dll";
}

// Holds the probe in the process and gives its controls, forgotten of earlier tests.
class Probe {
  public:
    Probe() : module_(LoadLibraryW(ProbeFile().c_str())) {
        if (module_ == nullptr) throw std::runtime_error("the probe is not there");
        const auto get = reinterpret_cast<decltype(&ProbeGetControls)>(
            reinterpret_cast<void*>(GetProcAddress(module_, "ProbeGetControls")));
        controls_ = get();
        controls_->reset();
    }
    ~Probe() { FreeLibrary(module_); }
    Probe(const Probe&) = delete;
    Probe& operator=(const Probe&) = delete;

    const ProbeControls* operator->() const { return controls_; }

    // The calls since the last time.
    Text TakeCalls() {
        const Text calls = controls_->calls();
        controls_->reset();
        return calls;
    }

  private:
    HMODULE module_;
    const ProbeControls* controls_ = nullptr;
};

// A platform made of the probe, whose registry-only classes are registered.
class ProbeTest : public testing::Test {
  protected:
    JumpingClock clock_{1000};
    ScopedClock scopedClock_{clock_};
    RegisteredClass replace_{L"Ovaro.TradeReplaceOrderParameters.1",
                             L"{7D6CE3B5-1B0B-4F5E-9E4E-6D60C2A4B901}", ProbeFile()};
    RegisteredClass combination_{L"Ovaro.adiCombinationOrderItem.1",
                                 L"{7D6CE3B5-1B0B-4F5E-9E4E-6D60C2A4B902}", ProbeFile()};
    Probe probe_;
    std::unique_ptr<TradeApi> api_ = MakeComTradeApi();
};

// Shown by GoogleTest as text.
inline std::string Shown(TextView text) {
    std::string shown;
    for (const wchar_t unit : text)
        shown.push_back(static_cast<char>(unit));
    return shown;
}

} // namespace halvane
