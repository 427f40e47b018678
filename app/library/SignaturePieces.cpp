#include "app/library/SignaturePieces.h"

#include "core/timeline/Storyboard.h"

namespace glintro {
namespace {

SignaturePiece::Kind kindOf(const Shot& shot) {
    using enum SignaturePiece::Kind;
    if (shot.kind == Shot::Kind::cut) return cut;
    if (shot.speedID && shot.rate != 1) return speed;
    return shot.kind == Shot::Kind::zoom ? zoom : wide;
}

} // namespace

QList<SignaturePiece> signatureOf(const ProjectInfo& info) {
    const auto shots = Storyboard::shots(info.settings, info.duration);
    QList<SignaturePiece> pieces;
    if (shots.empty()) return pieces;
    const Seconds length = shots.back().end - shots.front().start;
    for (const Shot& shot : shots) {
        const double share = (shot.end - shot.start) / length;
        if (!pieces.isEmpty() && pieces.back().kind == kindOf(shot)) {
            pieces.back().share += share;
        } else {
            pieces.append({kindOf(shot), share});
        }
    }
    return pieces;
}

QList<SignaturePiece> SignatureCache::of(const ReelPtr& reel) {
    if (const Entry* known = cache_.object(reel.get())) return known->pieces;
    auto pieces = signatureOf(reel->project.info);
    cache_.insert(reel.get(), new Entry{reel, pieces});
    return pieces;
}

} // namespace glintro
