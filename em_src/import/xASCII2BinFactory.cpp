#include "xASCII2BinFactory.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <limits>

#include "xAsciiScanner.h"
#include "xEMDesc.h"
#include "xMData.h"
#include "xMLineBlock.h"
#include "xPlatform.h"
#include "xReadError.h"
#include "xRecordChecker.h"
#include "xRecordLayout.h"
#include "xTRClasf.h"

namespace fs = std::filesystem;
using Item = xRecordLayout::BaseItem;

namespace {

// Line labels are whole numbers; a float label is cut towards zero. One beyond
// 32 bits would be held at the end of the range and merge unrelated lines.
bool FitsLabel(float value) {
    return value >= -2147483648.0f && value < 2147483648.0f;
}

const char* const LabelRange = "a line label from -2147483648 to 2147483647";

float Distance(float x, float y, float x0, float y0) {
    const float dx = x - x0, dy = y - y0;
    return std::sqrt(dx * dx + dy * dy);
}

std::string Lower(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return char(std::tolower(c)); });
    return text;
}

// The record's text without its line end, for the report of a skipped record.
std::string RecordText(std::string text) {
    while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
    const auto first = text.find_first_not_of(" \t\r\n");
    return first == std::string::npos ? std::string() : text.substr(first);
}

// The line (from 1) that holds a byte of a text file, whichever line end it uses.
long LineAt(const fs::path& file, std::int64_t offset) {
    std::ifstream in(file, std::ios::binary);
    long line = 1;
    char c = 0, previous = 0;
    for (std::int64_t k = 0; k < offset && in.get(c); ++k, previous = c)
        if (c == '\r' || (c == '\n' && previous != '\r')) ++line;
    return line;
}

}  // namespace

xASCII2BinFactory::xASCII2BinFactory(xPlatform& ui, xProgressSink* owner)
    : xProcessState(owner), ui_(ui), channels_(100, 109), flags_(100, 109), scale_(100, 109) {}

xASCII2BinFactory::~xASCII2BinFactory() = default;

const std::vector<std::string>& xASCII2BinFactory::BadValueCaptions() {
    static const std::vector<std::string> captions = {"Terminate", "Text Editor", "Skip record",
                                                      "Skip all"};
    return captions;
}

void xASCII2BinFactory::SetSource(Source source, const std::string& name) {
    source_ = source;
    sourceName_ = source == Source::Ascii ? "ASCII" : name;
}

void xASCII2BinFactory::SetDescriptor(const xEMDesc* descriptor) {
    descriptor_ = descriptor;
    ready_ = false;
    if (descriptor_) BuildTables();
}

void xASCII2BinFactory::BuildTables() {
    const xEMFDesc& format = descriptor_->formatDesc;
    frequencyDomain_ = descriptor_->IsFrequencyDomain();
    geosoft_ = format.geosoftFormat != 0;
    commentLines_ = std::max(format.commentLines, 0L);
    missing_ = format.missingValue;
    items_ = std::max(format.itemsPerRecord, 0L);
    // A position beyond the record is as good as none.
    auto at = [this](long position) { return position >= 1 && position <= items_ ? position : 0; };
    posLine_ = at(format.posLine);
    posFid_ = at(format.posFid);
    posEast_ = at(format.posEast);
    posNorth_ = at(format.posNorth);
    posZTopo_ = at(format.posZTopo);
    posAltitude_ = at(format.posAltitude);
    posZAsl_ = at(format.UserItemPosition("z(ASL)"));
    const long angles[6] = {format.posRxPitch, format.posRxRoll, format.posRxYaw,
                            format.posTxPitch, format.posTxRoll, format.posTxYaw};
    for (int k = 0; k < 6; ++k) posAngles_[k] = at(angles[k]);
    userPositions_.clear();
    for (const auto& user : format.userItems) userPositions_.push_back(at(user.position));
    used_.assign(std::size_t(items_) + 1, 0);
    for (long position : format.UsedPositions())
        if (at(position)) used_[std::size_t(position)] = 1;

    const xTRClasf counts = descriptor_->GetClassification();
    long most = 1;
    for (long id = 100; id <= LastComponent; ++id) {
        channels_[id] = id >= FirstComponent ? counts[id] : 0;
        flags_[id] = channels_[id] > 0 ? 1 : 0;
        most = std::max<long>(most, channels_[id]);
    }
    positions_.Resize(100, 109, 1, most);
    inPhase_.Resize(100, 109, 1, most);
    quadrature_.Resize(100, 109, 1, most);
    gains_.Resize(100, 109, 1, most);
    for (long id = 100; id <= LastComponent; ++id) {
        for (long ch = 1; ch <= most; ++ch) {
            positions_[id][ch] = inPhase_[id][ch] = quadrature_[id][ch] = 0.0f;
            gains_[id][ch] = 1.0f;
        }
        scale_[id] = 1.0f;
    }
    for (const auto& [id, component] : descriptor_->Components()) {
        if (id < FirstComponent || id > LastComponent || flags_[id] == 0) continue;
        const FloatArray& weights = component.wave.GetWeights();
        for (long k = 0; k < weights.Length() && k < most; ++k)
            gains_[id][k + 1] = weights[weights.Low() + k];
        const long n = frequencyDomain_ ? channels_[id] / 2 : channels_[id];
        for (long ch = 1; ch <= n; ++ch) {
            if (frequencyDomain_) {
                const long i = at(format.InPhasePosition(ch, id));
                const long q = at(format.QuadraturePosition(ch, id));
                if (i != 0 && q != 0) {
                    inPhase_[id][ch] = float(i);
                    quadrature_[id][ch] = float(q);
                }
            } else {
                positions_[id][ch] = float(at(format.ChannelPosition(ch, id)));
            }
        }
    }
}

bool xASCII2BinFactory::Ready() {
    if (!target_ || !descriptor_ || files_.empty()) return false;
    if (ready_) return true;
    const xEMFDesc& format = descriptor_->formatDesc;
    target_->InitFromDescriptor(channels_, flags_, long(format.userItems.size()));
    if (!target_->WriteHeader()) return false;
    // Data normalised by component carry the share of the primary field that
    // falls on the receiver's axis.
    if (!frequencyDomain_ && Lower(descriptor_->systemDesc.normalization) == "component") {
        for (const auto& [id, component] : descriptor_->Components()) {
            if (id < FirstComponent || id > LastComponent || flags_[id] == 0) continue;
            const xEMGDesc& geometry = component.geometry;
            const float horizontal =
                std::hypot(geometry.GetSeparationX(), geometry.GetSeparationY());
            const float vertical = std::trunc(std::fabs(geometry.GetSeparationZ()));
            FloatArray v(0, 2);
            if (!geometry.PrimaryField(geometry.GetTxComponent(), horizontal, 0.0f, vertical, v))
                continue;
            const float magnitude = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
            const long axis = id <= 103 ? 0 : (id >= 107 ? 2 : 1);
            if (magnitude != 0.0f) scale_[id] = std::fabs(v[axis]) / magnitude;
        }
    }
    raw_.Resize(1, std::max(items_, 1L));
    raw_ *= 0.0f;
    record_.Resize(0, target_->RowLength() - 1);
    record_ *= 0.0f;
    ready_ = true;
    return true;
}

bool xASCII2BinFactory::Convert() {
    if (!Ready()) {
        ui_.Error("xASCII2BinFactory is not initialized properly");
        return false;
    }
    skipAll_ = false;
    floatLabelWarned_ = false;
    for (const auto& file : files_) {
        if (IsSet(Stop)) break;
        if (!ConvertFile(file)) return false;
    }
    target_->WriteHeader();
    target_->Stream().flush();
    return true;
}

bool xASCII2BinFactory::ConvertFile(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    if (!stream) {
        ui_.Error("xFileConverter: Error opening ASCII file <" + file.string() + ">");
        return true;
    }
    xAsciiScanner in(stream);
    if (!CheckLineEnds(in, file)) return false;
    in.SkipByteOrderMark();
    labelRefused_ = false;
    for (long k = 0; k < commentLines_; ++k) in.SkipLine();
    while (in.Good() && !IsSet(Stop))
        if (ReadSurveyLine(in, file) == 0) break;
    return true;
}

bool xASCII2BinFactory::CheckLineEnds(xAsciiScanner& in, const fs::path& file) {
    if (source_ != Source::Ascii) {
        ui_.Note("System detected " + sourceName_ + " file format..");
        return true;
    }
    switch (in.DetectLineEnd()) {
        case xAsciiScanner::LineEnd::Dos:
            ui_.Note("System detected DOS ASCII file format..");
            break;
        case xAsciiScanner::LineEnd::Unix:
            ui_.Note("System detected UNIX ASCII file format..");
            break;
        case xAsciiScanner::LineEnd::Mac:
            ui_.Note("System detected MAC ASCII file format..");
            break;
        case xAsciiScanner::LineEnd::Unknown:
            ui_.Error("System detected UNKOWN ASCII file format..\n" +
                      AtLine(file, 1, "expected a line end (LF, CR LF or CR)"));
            return false;
    }
    return true;
}

long xASCII2BinFactory::ReadSurveyLine(xAsciiScanner& in, const fs::path& file) {
    std::unique_ptr<xMLineWriter> line;
    float firstFid = 0.0f, lastFid = 0.0f;
    std::int64_t consumed = in.Tell();
    while (!IsSet(Stop)) {
        std::int64_t start = 0;
        if (!ReadRecord(in, file, start)) break;
        Transform();
        if (!line) {
            x0_ = record_[Item::X];
            y0_ = record_[Item::Y];
        }
        record_[Item::Distance] = Distance(record_[Item::X], record_[Item::Y], x0_, y0_);
        if (!line) {
            lineNumber_ = label_;
            line = std::make_unique<xMLineWriter>(*target_, lineNumber_);
            firstFid = record_[Item::Fid];
            SetStatus("LINE  " + std::to_string(lineNumber_));
            if (checker_) {
                checker_->SetContext(" in file " + file.filename().string() + ", " + "LINE  " +
                                     std::to_string(lineNumber_) + ", FID ");
                checker_->SetFirstRecord();
            }
        }
        if (label_ != lineNumber_) {
            in.Seek(start);
            break;
        }
        if (checker_ && !checker_->Check(record_)) SetFlag(Stop);
        line->AddRow(record_);
        lastFid = record_[Item::Fid];
        Advance(long(in.Tell() - consumed));
        consumed = in.Tell();
    }
    if (!line) return 0;
    const long rows = line->Rows();
    FinishLine(*line, firstFid, lastFid);
    return rows;
}

void xASCII2BinFactory::FinishLine(xMLineWriter& line, float firstFid, float lastFid) {
    if (lastFid < firstFid) {
        // Flown the other way: turned round, with Distance from the new first record.
        bool first = true;
        float x0 = 0.0f, y0 = 0.0f;
        line.ReverseRows();
        line.RewriteRows([&](float* row) {
            if (first) {
                x0 = row[Item::X];
                y0 = row[Item::Y];
                first = false;
            }
            row[Item::Distance] = Distance(row[Item::X], row[Item::Y], x0, y0);
        });
    }
    line.Finish();
}

bool xASCII2BinFactory::ReadRecord(xAsciiScanner& in, const fs::path& file, std::int64_t& start) {
    for (;;) {
        start = in.Tell();
        std::int64_t dataStart = start;
        const Read result = geosoft_ ? ReadGeosoftRecord(in, dataStart) : ReadItems(in);
        if (result == Read::Ok && (LacksPosition() || labelRefused_)) {
            ReportSkipped(in, file, dataStart);
            continue;
        }
        if (result == Read::Ok && !geosoft_ && !FitsLabel(Raw(posLine_))) {
            SetBadValue(labelAt_, LabelRange);
            if (!BadValue(in, file, dataStart)) return false;
            continue;
        }
        if (result == Read::Ok) {
            if (!geosoft_) label_ = std::int32_t(Raw(posLine_));
            return true;
        }
        if (result == Read::End) return false;
        if (!BadValue(in, file, dataStart)) return false;
    }
}

bool xASCII2BinFactory::BadValue(xAsciiScanner& in, const fs::path& file, std::int64_t dataStart) {
    int answer = SkipRecord;
    if (!skipAll_)
        answer = ui_.Question(
            "Found an ASCII value that cannot be interpreted..\n" + BadValuePlace(in, file),
            BadValueCaptions());
    if (answer == SkipAll) skipAll_ = true;
    if (answer == Terminate) {
        SetFlag(Stop);
        if (checker_) checker_->Report("\nFatal Error in file " + file.string());
        return false;
    }
    if (answer == TextEditor) {
        in.Seek(dataStart);
        in.SkipLine();
        if (editor_ && editor_(file, dataStart, in.Tell())) {
            in.Seek(dataStart, true);
            return true;
        }
        ui_.Error("The text editor could not be started: the record is skipped.");
    }
    in.Seek(dataStart);
    in.SkipLine();
    ReportSkipped(in, file, dataStart);
    return true;
}

void xASCII2BinFactory::ReportSkipped(xAsciiScanner& in, const fs::path& file,
                                      std::int64_t dataStart) {
    if (checker_)
        checker_->Report("\nIn file " + file.string() +
                         ",  line skiped: " + RecordText(in.Text(dataStart, in.Tell())));
}

bool xASCII2BinFactory::IsMissing(float value) const {
    // The file's text went through a float on the way in.
    constexpr double kRelative = 1e-6;
    return missing_ && std::fabs(double(value) - *missing_) <= kRelative * std::fabs(*missing_);
}

bool xASCII2BinFactory::LacksPosition() const {
    for (long position : {posFid_, posEast_, posNorth_, posAltitude_})
        if (position && IsMissing(raw_[position])) return true;
    return false;
}

float xASCII2BinFactory::Channel(long position, float factor) const {
    const float value = Raw(position);
    return position && IsMissing(value) ? BlankValue : value * factor;
}

void xASCII2BinFactory::SetBadValue(std::int64_t at, std::string expected, long itemsFound) {
    badValueAt_ = at;
    badValueExpected_ = std::move(expected);
    itemsFound_ = itemsFound;
}

std::string xASCII2BinFactory::BadValuePlace(xAsciiScanner& in, const fs::path& file) {
    const long line = LineAt(file, badValueAt_);
    if (itemsFound_ >= 0)
        return AtLine(file, line,
                      "expected " + badValueExpected_ + ", found the line end after " +
                          std::to_string(itemsFound_));
    std::string word;
    in.Seek(badValueAt_);
    in.ReadWord(word);
    return AtLine(file, line, ExpectedFound(badValueExpected_, word));
}

xASCII2BinFactory::Read xASCII2BinFactory::ReadItems(xAsciiScanner& in) {
    bool ended = false;
    for (long i = 1; i <= items_; ++i) {
        if (i > 1 && in.AtLineEnd()) {
            SetBadValue(in.Tell(), std::to_string(items_) + " items", i - 1);
            return Read::Bad;
        }
        if (i == posLine_) labelAt_ = in.Tell();
        float value = 0.0f;
        switch (in.ReadFloat(value)) {
            case xAsciiScanner::Status::Ok:
                raw_[i] = value;
                break;
            case xAsciiScanner::Status::End:
                ended = true;
                break;
            case xAsciiScanner::Status::Bad:
                if (used_[std::size_t(i)]) {
                    SetBadValue(in.Tell(), "a number");
                    return Read::Bad;
                }
                // Text where nothing is read is passed over; text glued to a
                // number began in the item before.
                if (!xAsciiScanner::IsBlank(in.Previous()) && i > 1) --i;
                in.SkipWord();
                raw_[i] = 0.0f;
                break;
        }
    }
    if (ended) return Read::End;
    in.SkipLine();
    return Read::Ok;
}

xASCII2BinFactory::Read xASCII2BinFactory::ReadGeosoftRecord(xAsciiScanner& in,
                                                             std::int64_t& dataStart) {
    constexpr int MaxHeaders = 10;
    int headers = 0;
    std::string word;
    for (;;) {
        const std::int64_t wordStart = in.Tell();
        if (!in.ReadWord(word)) return Read::End;
        if (word.empty()) continue;
        if (word.front() == '/') {
            in.SkipLine();  // a comment line
            continue;
        }
        std::transform(word.begin(), word.end(), word.begin(),
                       [](unsigned char c) { return char(std::toupper(c)); });
        if (word != "LINE") {
            in.Seek(wordStart);
            dataStart = wordStart;
            return ReadItems(in);
        }
        if (!in.Good()) return Read::End;
        float value = 0.0f;
        const std::int64_t labelAt = in.Tell();
        if (in.ReadFloat(value) != xAsciiScanner::Status::Ok) return Read::End;
        // The records under a refused label are skipped up to the next header.
        labelRefused_ = !FitsLabel(value);
        if (labelRefused_) {
            SetBadValue(labelAt, LabelRange);
            dataStart = wordStart;
            return Read::Bad;
        }
        label_ = std::int32_t(value);
        if (float(label_) != value && !floatLabelWarned_) {
            floatLabelWarned_ = true;
            char text[200];
            std::snprintf(text, sizeof(text),
                          "ASCII->Bin Conversion Warning: Line labels in float format is not "
                          "supported. Label <%g> will be trancated to <%ld>.",
                          double(value), long(label_));
            ui_.Warning(text);
        }
        in.SkipLine();
        if (++headers > MaxHeaders) return Read::End;
    }
}

void xASCII2BinFactory::Transform() {
    float* out = record_.Data();
    out[Item::Fid] = Raw(posFid_);
    out[Item::X] = Raw(posEast_);
    out[Item::Y] = Raw(posNorth_);
    out[Item::Altitude] = Raw(posAltitude_);
    if (!posAltitude_ && !altitudeWarned_) {
        altitudeWarned_ = true;
        ui_.Warning("Flight altitude has not been defined in the system descriptor.");
    }
    out[Item::Z] =
        posZTopo_ ? Raw(posZTopo_) : (posZAsl_ ? Raw(posZAsl_) - out[Item::Altitude] : 0.0f);
    long next = target_->BaseItems();
    for (long id = FirstComponent; id <= LastComponent; ++id) {
        if (flags_[id] == 0) continue;
        const long offset = target_->ChannelOffset(id);
        const float scale = scale_[id];
        if (frequencyDomain_) {
            const long n = channels_[id] / 2;
            for (long i = 1; i <= n; ++i) {
                const float gain = gains_[id][i];
                out[offset + i - 1] = Channel(long(inPhase_[id][i]), scale * gain);
                out[offset + n + i - 1] = Channel(long(quadrature_[id][i]), scale * gain);
            }
        } else {
            for (long i = 1; i <= channels_[id]; ++i)
                out[offset + i - 1] = Channel(long(positions_[id][i]), scale * gains_[id][i]);
        }
        next = offset + channels_[id];
    }
    for (long position : userPositions_) out[next++] = Raw(position);
    for (long k = 0; k < 6; ++k, ++next)
        if (posAngles_[k]) out[next] = Raw(posAngles_[k]);
}
