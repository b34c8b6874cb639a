#include "foundation/logger/LogErrors.h"

#include "foundation/logger/ILogger.h"

#include <iterator>

namespace halvane {
namespace {

struct Range {
    std::uint32_t first, last;
    std::int32_t code;
};

// clang-format off
constexpr Range kOsErrors[] = {
    {0, 0, 0},
    {2, 2, 2}, {6, 6, 2}, {18, 18, 2}, {107, 107, 2},
    {3, 3, 3}, {15, 15, 3}, {17, 17, 3}, {34, 34, 3}, {52, 53, 3}, {55, 55, 3}, {67, 67, 3},
    {70, 70, 3}, {85, 85, 3}, {111, 111, 3}, {123, 125, 3}, {144, 144, 3}, {154, 154, 3},
    {161, 161, 3}, {206, 206, 3}, {208, 208, 3}, {267, 267, 3},
    {4, 4, 4}, {36, 36, 4}, {68, 68, 4}, {113, 113, 4},
    {5, 5, 5}, {12, 12, 5}, {19, 19, 5}, {29, 29, 5}, {54, 54, 5}, {58, 58, 5}, {64, 65, 5},
    {71, 71, 5}, {80, 80, 5}, {82, 82, 5}, {86, 86, 5}, {170, 170, 5}, {183, 183, 5},
    {999, 999, 5},
    {11, 11, 6}, {26, 26, 6}, {60, 60, 6}, {66, 66, 6}, {114, 114, 6}, {182, 182, 6},
    {191, 191, 6}, {193, 193, 6},
    {16, 16, 7}, {145, 145, 7},
    {62, 62, 8},
    {24, 25, 9}, {27, 27, 9}, {30, 30, 9}, {131, 132, 9},
    {20, 23, 10}, {57, 57, 10}, {59, 59, 10}, {88, 88, 10}, {117, 117, 10}, {995, 997, 10},
    {32, 32, 11},
    {33, 33, 12}, {108, 108, 12}, {167, 167, 12},
    {39, 39, 13}, {112, 112, 13},
    {38, 38, 14},
};

constexpr const wchar_t* kTexts[] = {
    L"No error occurred",
    L"Nicht näher bestimmter Fehler -> An unspecified error occurred",
    L"Datei nicht gefunden -> The file could not be located",
    L"Ungültiger Pfad -> All or part of the path is invalid",
    L"Zu viele offene Dateien -> The permitted number of open files was exceeded",
    L"Zugriff verweigert -> The file could not be accessed",
    L"Ungültiges Dateihandle -> There was an attempt to use an invalid file handle",
    L"Verzeichnis nicht entfernbar -> The current working directory cannot be removed",
    L"Verzeichnis voll -> There are no more directory entries",
    L"Positionierung fehlgeschlagen -> There was an error trying to set the file pointer",
    L"Hardwarefehler -> There was a hardware error",
    L"Zugriffskonflikt -> SHARE.EXE was not loaded, or a shared region was locked",
    L"Sperrkonflikt -> There was an attempt to lock a region that was already locked",
    L"Datenträger voll -> The disk is full",
    L"Dateiende -> The end of file was reached",
    L"Der Aufruf ist im gegenwärtigen Zustand nicht erlaubt",
    L"Ungültiges Argument (ll) -> die Stufe darf nicht 'LL_NONE' sein",
    L"Ungültiges Argument (printFlag) -> weder Datei noch Fenster ist gewählt",
    L"Der Schreibthread konnte nicht erzeugt werden",
};
// clang-format on
static_assert(std::size(kTexts) == kLogNoThread + 1);

} // namespace

std::int32_t ToLogError(std::uint32_t osError) {
    for (const Range& range : kOsErrors)
        if (osError >= range.first && osError <= range.last) return range.code;
    return kLogUnspecified;
}

} // namespace halvane

const wchar_t* ILogger_GetErrorDesc(int code) {
    const bool known = code >= 0 && code < static_cast<int>(std::size(halvane::kTexts));
    return known ? halvane::kTexts[code] : L"Unbekannter Fehler";
}
