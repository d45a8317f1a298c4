#include "xRecordChecker.h"

#include <cmath>
#include <cstdio>
#include <ctime>
#include <sstream>

#include "xPlatform.h"
#include "xRecordLayout.h"

namespace {

std::string Printf(const char* format, double value) {
    char text[64];
    std::snprintf(text, sizeof(text), format, value);
    return text;
}

std::string DateAndTime(const xPlatform& ui) {
    const std::time_t now = std::chrono::system_clock::to_time_t(ui.Now());
    std::tm local{};
    localtime_r(&now, &local);
    char text[64];
    std::strftime(text, sizeof(text), "%a %b %d %H:%M:%S %Y", &local);
    return text;
}

}  // namespace

xRecordChecker::xRecordChecker(const std::filesystem::path& errorFile, long recordLength,
                               const xImportSettings& settings, xPlatform& ui)
    : ui_(ui), limits_(0, recordLength), previous_(0, recordLength - 1), path_(errorFile) {
    limits_[xRecordLayout::Fid] = settings.maxDFid;
    limits_[xRecordLayout::X] = settings.maxDx;
    limits_[xRecordLayout::Y] = settings.maxDy;
    limits_[xRecordLayout::Altitude] = settings.maxDz;
    if (settings.checkX) enabled_ |= CheckX;
    if (settings.checkY) enabled_ |= CheckY;
    if (settings.checkAltitude) enabled_ |= CheckAltitude;
    if (settings.checkFid) enabled_ |= CheckFid;
    switch (settings.reports) {
        case xImportSettings::Reports::Screen:
            destination_ = Screen;
            break;
        case xImportSettings::Reports::Both:
            destination_ = Screen | ErrorFile;
            break;
        case xImportSettings::Reports::File:
            destination_ = ErrorFile;
            break;
    }
    if (destination_ & ErrorFile) OpenReportFile();
}

void xRecordChecker::OpenReportFile() {
    if (file_.Open(path_)) {
        file_.Stream() << "Project: ASCII to Binary"
                       << "      Date: " << DateAndTime(ui_) << '\n'
                       << std::string(73, '=') << '\n';
        return;
    }
    ui_.Error("Cannot create the report file <" + path_.string() +
              ">: the reports go to the screen instead.");
    destination_ = Screen;
}

xRecordChecker::~xRecordChecker() {
    // A stopped or terminated run's report is whole for what was read, and
    // says why it ended: it replaces the last one all the same.
    if (!file_.IsOpen() || !file_.Commit()) return;
    if (wroteHere_)
        ui_.Warning("ASCII->BIN conversion's detected some problems. Look through <" +
                    path_.string() + "> file.");
}

bool xRecordChecker::Check(const FloatArray& record) {
    if (firstRecord_) {
        for (long i = previous_.Low(); i <= previous_.High(); ++i) previous_[i] = record[i];
        firstRecord_ = false;
        return true;
    }
    if (enabled_ == 0) return true;
    Compare(xRecordLayout::X, CheckX, "X gradient", "%5.1f", record);
    Compare(xRecordLayout::Y, CheckY, "Y gradient", "%5.1f", record);
    Compare(xRecordLayout::Altitude, CheckAltitude, "Z gradient", "%5.1f", record);
    Compare(xRecordLayout::Fid, CheckFid, "FID gradient", "%10.3f", record);
    return !quit_;
}

void xRecordChecker::Compare(long item, std::uint32_t bit, const char* what,
                             const char* valueFormat, const FloatArray& record) {
    if (!(enabled_ & bit) || quit_) return;
    const float delta = std::fabs(record[item] - previous_[item]);
    previous_[item] = record[item];
    if (delta > limits_[item])
        ReportJump(what + Printf(valueFormat, delta) + " is out of limits",
                   record[xRecordLayout::Fid]);
}

void xRecordChecker::ReportJump(const std::string& text, float fid) {
    if (destination_ & ErrorFile) {
        file_.Stream() << text << context_ << Printf("%14.3f", fid) << '\n';
        wroteHere_ = true;
    }
    if (destination_ & Screen) {
        std::ostringstream shown;
        shown << text << context_ << fid;
        if (ui_.Question(shown.str(), {"Continue", "Quit"}) == 1) quit_ = true;
    }
}

void xRecordChecker::Report(const std::string& text) {
    if (destination_ & ErrorFile) {
        file_.Stream() << text << '\n';
        wroteHere_ = true;
    }
    if (destination_ & Screen) ui_.Warning(text);
}
