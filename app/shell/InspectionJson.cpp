#include "app/shell/InspectionJson.h"

#include <algorithm>
#include <cmath>

#include <nlohmann/json.hpp>

namespace glintro {
namespace {

using nlohmann::json;

json orNull(const auto& optional, auto convert) {
    return optional ? json(convert(*optional)) : json();
}

json uuidJson(const std::optional<Uuid>& uuid) {
    return orNull(uuid, [](const Uuid& value) { return value.text(); });
}

json shotJson(const Shot& shot) {
    return {{"number", shot.number},
            {"start", shot.start},
            {"end", shot.end},
            {"kind", storedText(shot.kind)},
            {"zoomID", uuidJson(shot.zoomID)},
            {"scale", shot.scale},
            {"cutID", uuidJson(shot.cutID)},
            {"speedID", uuidJson(shot.speedID)},
            {"rate", shot.rate},
            {"outputDuration", shot.outputDuration()},
            {"caption", shot.caption()}};
}

json pieceJson(const TimeMap::Piece& piece) {
    return {{"src0", piece.src0}, {"src1", piece.src1}, {"comp0", piece.comp0}, {"rate", piece.rate}};
}

json frameJson(const InspectedFrame& frame) {
    return {{"t", frame.sourceTime},
            {"composition", frame.compositionTime},
            {"source", frame.shownSource},
            {"scale", frame.zoom.scale},
            {"x", frame.zoom.centre.x},
            {"y", frame.zoom.centre.y},
            {"pointer", orNull(frame.pointer,
                               [](Point at) {
                                   return json::array({at.x, at.y});
                               })},
            {"shot", orNull(frame.shot, [](int number) { return number; })}};
}

template <class Element>
json listJson(const std::vector<Element>& elements, json (*convert)(const Element&)) {
    json list = json::array();
    for (const Element& element : elements) list.push_back(convert(element));
    return list;
}

bool isFinite(const json& value) {
    if (value.is_structured()) return std::ranges::all_of(value, isFinite);
    return !value.is_number_float() || std::isfinite(value.get<double>());
}

} // namespace

Result<std::string> inspectionJson(const Inspection& inspection) {
    const auto record = encodeProjectInfo(inspection.info);
    if (!record) return std::unexpected(record.error());
    const json all{{"status", "ok"},
                   {"info", json::parse(*record)},
                   {"look", orNull(inspection.look, [](const Look& look) { return look.name; })},
                   {"canvas", {{"width", inspection.canvas.width}, {"height", inspection.canvas.height}}},
                   {"shots", listJson(inspection.shots, shotJson)},
                   {"pieces", listJson(inspection.map.pieces(), pieceJson)},
                   {"compDuration", inspection.map.compDuration()},
                   {"frames", listJson(inspection.frames, frameJson)}};
    if (!isFinite(all)) return failure("This reel’s times are too large to be written as JSON.");
    return all.dump(2);
}

} // namespace glintro
