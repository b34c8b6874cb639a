#include "app/WindowLoop.h"

#include "app/Resources.h"

#include <windows.h>

namespace halvane {
namespace {

constexpr UINT kWorkPosted = WM_APP;
constexpr UINT_PTR kStatusTimer = 1;
constexpr UINT kStatusMs = 1000;

INT_PTR CALLBACK DialogProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    auto* loop = reinterpret_cast<WindowLoop*>(GetWindowLongPtrW(window, DWLP_USER));
    switch (message) {
    case WM_INITDIALOG: SetWindowLongPtrW(window, DWLP_USER, lParam); return TRUE;
    case kWorkPosted: loop->DoPostedWork(); return TRUE;
    case WM_TIMER: loop->ShowStatus(); return TRUE;
    case WM_CLOSE: loop->Quit(0); return TRUE;
    case WM_COMMAND: // the escape key is no reason to stop trading
        return LOWORD(wParam) == IDCANCEL;
    default: return FALSE;
    }
}

HWND MakeDialog(HWND parent, WindowLoop* loop) {
    return CreateDialogParamW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(HALVANE_DIALOG), parent,
                              DialogProcedure, reinterpret_cast<LPARAM>(loop));
}

} // namespace

WindowLoop::WindowLoop() : window_(MakeDialog(nullptr, this)) {
    if (window_ == nullptr) window_ = MakeDialog(HWND_MESSAGE, this); // no desktop
}

WindowLoop::~WindowLoop() { DestroyWindow(window_); }

void WindowLoop::Post(std::function<void()> work) {
    work_.Post(std::move(work));
    PostMessageW(window_, kWorkPosted, 0, 0);
}

void WindowLoop::Quit(int exitCode) {
    Post([this, exitCode] {
        exitCode_ = exitCode;
        PostQuitMessage(exitCode); // also ends a loop of the system's, while a menu is open
    });
}

void WindowLoop::DoPostedWork() {
    while (!exitCode_) {
        const auto next = work_.NextIfAny();
        if (!next) return;
        (*next)();
    }
}

void WindowLoop::ShowStatus() { SetDlgItemTextW(window_, HALVANE_STATUS, status_().c_str()); }

int WindowLoop::Run(std::function<Text()> status, WindowState window) {
    status_ = std::move(status);
    // Open, unless whoever starts the program wants it otherwise; minimised, it takes no focus.
    ShowWindow(window_, window == WindowState::Open ? SW_SHOWDEFAULT : SW_SHOWMINNOACTIVE);
    SetTimer(window_, kStatusTimer, kStatusMs, nullptr);
    ShowStatus();
    DoPostedWork(); // what came before the loop, in case its messages are gone
    for (MSG message; !exitCode_ && GetMessageW(&message, nullptr, 0, 0) > 0;) {
        if (IsDialogMessageW(window_, &message)) continue;
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
    return exitCode_.value_or(0);
}

} // namespace halvane
