#pragma once

#include <QCache>
#include <QList>
#include <QObject>

#include "app/library/Reel.h"

namespace glintro {

// A shot in the strip under a reel's card.
struct SignaturePiece {
    Q_GADGET
    Q_PROPERTY(Kind kind MEMBER kind FINAL)
    Q_PROPERTY(double share MEMBER share FINAL)

  public:
    enum class Kind { wide, zoom, cut, speed };
    Q_ENUM(Kind)

    Kind kind = Kind::wide;
    double share = 0; // of the strip's length, by time in the recording; all pieces together make 1
    bool operator==(const SignaturePiece&) const = default;
};

// Neighbours of one kind are one piece.
QList<SignaturePiece> signatureOf(const ProjectInfo& info);

// The signatures of the reels that were shown last. Main thread.
class SignatureCache {
  public:
    SignatureCache() : cache_(kMostReels) {}
    QList<SignaturePiece> of(const ReelPtr& reel);

  private:
    static constexpr int kMostReels = 512; // some windows full
    struct Entry {
        ReelPtr reel; // kept, so that no other one gets its address
        QList<SignaturePiece> pieces;
    };
    QCache<const Reel*, Entry> cache_;
};

} // namespace glintro

Q_DECLARE_METATYPE(glintro::SignaturePiece)
