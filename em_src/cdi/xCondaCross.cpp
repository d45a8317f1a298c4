#include "xCondaCross.h"

#include "xCndReports.h"
#include "xMAmp.h"
#include "xRecordLayout.h"
#include "xTRClasf.h"

using cdi::NULLVALUE;

xCondaCross::xCondaCross(const xEMDesc& descriptor, xMAmp& input, xMCondCross& output, long first,
                         long last, xProgressSink* owner)
    : xCondaFactory(descriptor, input, output, first, last, owner), cross_(output) {}

bool xCondaCross::Init() {
    if (!xCondaFactory::Init()) return false;
    cross_.SelectFromFile();
    packing_ = cross_.Packing();
    return true;
}

void xCondaCross::CrossDiscrete(long component, float* out, long slot) {
    const std::vector<float>& column = math_.CondColumn(component);
    const std::vector<float>& depths = math_.Depths();
    const long n = static_cast<long>(std::min(column.size(), depths.size()));
    if (n < 2) return;
    float s = column[0] != NULLVALUE && column[1] != NULLVALUE ? (column[0] + column[1]) / 2.0f
                                                               : NULLVALUE;
    float previous = depths[0] - (depths[0] + depths[1]) / 2.0f;
    float* section = out + output_.SectionStart(0);
    for (long d = 0; d < n; ++d) {
        const float thick = depths[d] - previous;
        if (s != NULLVALUE && thick > 0.0f && column[d] != NULLVALUE) {
            const float c = (column[d] - s) / thick;
            const long k = math_.DiscreteIndex(c);
            xCndMath::CountSample(c, counts_, edges_);
            if (k >= 0) section[d] += static_cast<float>(packing_.Pack(k, slot));
        }
        s = column[d];
        previous = depths[d];
    }
}

void xCondaCross::CrossLayered(long component, float* out, long slot) {
    math_.LayeredColumn(math_.CondColumn(component), section_);
    float* layered = out + output_.SectionStart(1);
    for (std::size_t d = 0; d < section_.size(); ++d) {
        if (section_[d] == NULLVALUE) continue;
        const long k = math_.DiscreteIndex(section_[d]);
        if (k >= 0) layered[d] += static_cast<float>(packing_.Pack(k, slot));
    }
}

void xCondaCross::ProcessRecord(const float* in, float* out) {
    long slot = 0;
    for (long id = FirstComponent; id <= LastComponent; ++id) {
        if (!IsActive(id) || !cross_.IsSelected(id)) continue;
        math_.ZeroColumns();
        xCndRecord record = MakeRecord(in, id);
        const xCndComponentResult r = math_.ComponentRecord(record, id);
        // No mean here: the last component's items stand.
        out[xMCond::RLItem] = r.RL;
        out[xMCond::ILItem] = r.IL;
        out[xMCond::TSCItem] = r.TSC;
        out[xMCond::ASCItem] = r.ASC;
        out[xMCond::FitDepthItem] = r.FitDepth;
        if (table_) table_->WriteRow(out, math_.CondColumn(id));
        if (slot < cross_.Count()) {
            CrossDiscrete(id, out, slot);
            CrossLayered(id, out, slot);
        }
        out[xMCond::PenetrationItem] = -math_.EstimatePenetration(math_.CondColumn(id));
        ++slot;
    }
    out[xRecordLayout::Altitude] += out[xRecordLayout::Z];
}
