#include "SectionComparison.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>
#include <string>

#include "RankCorrelation.h"
#include "xMCond.h"
#include "xMLine.h"

double LayeredModel::ConductivityAt(double depth) const {
    double bottom = 0;
    for (std::size_t k = 0; k + 1 < conductivity.size(); ++k) {
        bottom += thickness[k];
        if (depth < bottom) return conductivity[k];
    }
    return conductivity.back();
}

namespace {

// The ends of every conductivity table, mS/m: a value there is clipped, not imaged.
constexpr float kTableFloor = 1e-4f, kTableCeiling = 1e5f;

std::vector<double> Items(const std::string& text) {
    std::istringstream in(text);
    std::vector<double> items;
    for (double v; in >> v;) items.push_back(v);
    return items;
}

std::vector<double> Slice(const std::vector<double>& items, int firstColumn, int count) {
    const auto first = items.begin() + (firstColumn - 1);
    return {first, first + count};
}

}  // namespace

std::vector<LayeredModel> ReadModels(const std::vector<std::filesystem::path>& files,
                                     const ModelColumns& columns, long line) {
    const int needed =
        std::max({columns.line, columns.fid, columns.conductivity + columns.layers - 1,
                  columns.thickness + columns.layers - 1});
    std::vector<LayeredModel> models;
    for (const auto& file : files) {
        std::ifstream in(file);
        for (std::string text; std::getline(in, text);) {
            const std::vector<double> items = Items(text);
            if (int(items.size()) < needed) continue;
            if (columns.line && long(items[columns.line - 1]) != line) continue;
            models.push_back({items[columns.fid - 1],
                              Slice(items, columns.conductivity, columns.layers),
                              Slice(items, columns.thickness, columns.layers)});
        }
    }
    return models;
}

std::vector<CdiStation> ReadDiscreteSections(const std::filesystem::path& path) {
    xMCond cnd;
    cnd.SetPath(path);
    std::vector<CdiStation> stations;
    if (cnd.Open() != 1 || !cnd.ReadHeader()) return stations;
    const long first = cnd.SectionStart(0);
    xMLine line(&cnd);
    while (line.Next())
        for (long r = 0; r < line.Rows(); ++r) {
            CdiStation station{line.Item(r, 0), {}, {}};
            for (long d = 0; d < cnd.DepthCount(); ++d) {
                const float value = line.Item(r, first + d);
                const bool held =
                    value != xMCond::NullValue && value > kTableFloor && value < kTableCeiling;
                station.depth.push_back(-cnd.RelativeDepth(d));
                station.conductivity.push_back(held ? value : std::nan(""));
            }
            stations.push_back(std::move(station));
        }
    return stations;
}

namespace {

const LayeredModel* ModelAt(const std::vector<LayeredModel>& models, double fid, double tolerance) {
    const auto nearest = std::min_element(models.begin(), models.end(),
                                          [fid](const LayeredModel& a, const LayeredModel& b) {
                                              return std::abs(a.fid - fid) < std::abs(b.fid - fid);
                                          });
    return nearest != models.end() && std::abs(nearest->fid - fid) <= tolerance ? &*nearest
                                                                                : nullptr;
}

}  // namespace

SectionAgreement CompareSections(const std::vector<CdiStation>& cdi,
                                 const std::vector<LayeredModel>& models, double maxDepth,
                                 double deepDepth, double fidTolerance) {
    SectionAgreement agreement;
    agreement.stations = cdi.size();
    std::vector<double> imaged, published;
    std::size_t deep = 0;
    for (const CdiStation& station : cdi) {
        const LayeredModel* model = ModelAt(models, station.fid, fidTolerance);
        if (!model) continue;
        ++agreement.paired;
        bool reachesDeep = false;
        for (std::size_t k = 0; k < station.depth.size(); ++k) {
            if (std::isnan(station.conductivity[k])) continue;
            reachesDeep |= station.depth[k] >= deepDepth;
            if (station.depth[k] > maxDepth) continue;
            imaged.push_back(std::log10(station.conductivity[k] * 1e-3));
            published.push_back(std::log10(model->ConductivityAt(station.depth[k])));
        }
        deep += reachesDeep;
    }
    agreement.values = imaged.size();
    if (imaged.size() > 1) agreement.rho = SpearmanRho(imaged, published);
    if (agreement.paired) agreement.deepShare = double(deep) / double(agreement.paired);
    return agreement;
}
