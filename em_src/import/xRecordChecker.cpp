#include "xRecordChecker.h"

#include <cmath>
#include <cstdio>
#include <ctime>
#include <sstream>

#include "xCnvParams.h"
#include "xPlatform.h"

bool xRecordChecker::wroteToFile_ = false;

namespace {

std::string Printf(const char* format, double value) {
    char text[64];
    std::snprintf(text, sizeof(text), format, value);
    return text;
}

std::string DateAndTime() {
    const std::time_t now = std::chrono::system_clock::to_time_t(Platform().Now());
    std::tm local{};
    localtime_r(&now, &local);
    char text[64];
    std::strftime(text, sizeof(text), "%a %b %d %H:%M:%S %Y", &local);
    return text;
}

}  // namespace

xRecordChecker::xRecordChecker(const std::filesystem::path& errorFile, long recordLength,
                               const xCnvParams& params)
    : limits_(0, recordLength), previous_(0, recordLength - 1), path_(errorFile) {
    limits_[0] = params.maxDFid;
    limits_[1] = params.maxDx;
    limits_[2] = params.maxDy;
    limits_[4] = params.maxDz;
    if (params.warnX) enabled_ |= CheckX;
    if (params.warnY) enabled_ |= CheckY;
    if (params.warnZ) enabled_ |= CheckAltitude;
    if (params.warnFid) enabled_ |= CheckFid;
    switch (params.errorOutput) {
        case 0:
            destination_ = Screen;
            break;
        case 2:
            destination_ = Screen | ErrorFile;
            break;
        default:
            destination_ = ErrorFile;
            break;
    }
    if (destination_ & ErrorFile) {
        file_.open(path_, std::ios::out | std::ios::trunc);
        if (file_) {
            file_ << "Project: ASCII to Binary"
                  << "      Date: " << DateAndTime() << '\n'
                  << std::string(73, '=') << '\n';
        } else {
            Platform().Error("Cannot create the report file <" + path_.string() +
                             ">: the reports go to the screen instead.");
            destination_ = Screen;
        }
    }
}

xRecordChecker::~xRecordChecker() {
    if (!file_.is_open()) return;
    file_.close();
    if (wroteHere_)
        Platform().Warning("ASCII->BIN conversion's detected some problems. Look through <" +
                           path_.string() + "> file.");
}

bool xRecordChecker::Check(const FloatArray& record) {
    if (firstRecord_) {
        for (long i = previous_.Low(); i <= previous_.High(); ++i) previous_[i] = record[i];
        firstRecord_ = false;
        return true;
    }
    if (enabled_ == 0) return true;
    Compare(1, CheckX, "X gradient", "%5.1f", record);
    Compare(2, CheckY, "Y gradient", "%5.1f", record);
    Compare(4, CheckAltitude, "Z gradient", "%5.1f", record);
    Compare(0, CheckFid, "FID gradient", "%10.3f", record);
    return !quit_;
}

void xRecordChecker::Compare(long item, std::uint32_t bit, const char* what,
                             const char* valueFormat, const FloatArray& record) {
    if (!(enabled_ & bit) || quit_) return;
    const float delta = std::fabs(record[item] - previous_[item]);
    previous_[item] = record[item];
    if (delta > limits_[item])
        ReportJump(what + Printf(valueFormat, delta) + " is out of limits", record[0]);
}

void xRecordChecker::ReportJump(const std::string& text, float fid) {
    if (destination_ & ErrorFile) {
        file_ << text << context_ << Printf("%14.3f", fid) << '\n';
        wroteHere_ = wroteToFile_ = true;
    }
    if (destination_ & Screen) {
        std::ostringstream shown;
        shown << text << context_ << fid;
        if (Platform().Question(shown.str(), {"Continue", "Quit"}) == 1) quit_ = true;
    }
}

void xRecordChecker::Report(const std::string& text) {
    if (destination_ & ErrorFile) {
        file_ << text << '\n';
        wroteHere_ = wroteToFile_ = true;
    }
    if (destination_ & Screen) Platform().Warning(text);
}
