#include <array>
#include <cstring>
#include <streambuf>

#include <nlohmann/json.hpp>

#include "core/base/FileDescriptor.h"
#include "core/model/JsonNumbers.h"
#include "core/model/RecordingEvents.h"

namespace glintro {
namespace {

constexpr std::size_t kDeepestNesting = 512;
// Some 19 hours of pointer samples. A hostile file of empty lists would otherwise become ten times its size.
constexpr std::size_t kMostSamples = 8U << 20;

// Puts the parser's values straight into the lists: a document tree of an hour's samples would be far larger
// than the samples. Every function returns false to stop the parser, which makes the file undecodable.
class EventsHandler {
  public:
    bool null() { return isIgnored(); }
    bool boolean(bool) { return isIgnored(); }
    bool string(std::string&) { return isIgnored(); }
    bool binary(nlohmann::json::binary_t&) { return false; }
    bool number_integer(std::int64_t number) { return add(number); }
    bool number_unsigned(std::uint64_t number) { return add(number); }
    bool number_float(double number, const std::string&) { return add(number); }

    bool start_object(std::size_t) { return (depth_ == 0 || isIgnored()) && descend(); }
    bool end_object() { return ascend(); }
    bool start_array(std::size_t) { return (isIgnored() || startList()) && descend(); }
    bool end_array() { return ascend(); }

    bool key(const std::string& name) {
        if (depth_ == 1) value_ = valueNamed(name);
        return true;
    }
    bool parse_error(std::size_t, const std::string&, const nlohmann::json::exception&) { return false; }

    bool isComplete() const { return hasVersion_ && hasDuration_ && hasCursor_ && hasClicks_; }
    RecordingEvents events() && { return std::move(events_); }

  private:
    enum class Value { version, duration, cursor, clicks, unknown };

    static Value valueNamed(const std::string& name) {
        if (name == "version") return Value::version;
        if (name == "duration") return Value::duration;
        if (name == "cursor") return Value::cursor;
        if (name == "clicks") return Value::clicks;
        return Value::unknown;
    }

    bool isIgnored() const { return depth_ > 0 && value_ == Value::unknown; }
    bool isList() const { return value_ == Value::cursor || value_ == Value::clicks; }
    std::vector<EventSample>& list() { return value_ == Value::cursor ? events_.cursor : events_.clicks; }

    bool descend() { return ++depth_ <= kDeepestNesting; }
    bool ascend() {
        --depth_;
        return true;
    }

    // A list of samples lies in the object, a list of numbers in it.
    bool startList() {
        if (!isList()) return false;
        if (depth_ == 1) {
            list().clear();
            (value_ == Value::cursor ? hasCursor_ : hasClicks_) = true;
            return true;
        }
        if (depth_ != 2 || events_.cursor.size() + events_.clicks.size() >= kMostSamples) return false;
        list().emplace_back().count = 0;
        return true;
    }

    template <class Number>
    bool add(Number number) {
        if (isIgnored()) return true;
        if (depth_ == 3 && isList()) {
            EventSample& sample = list().back();
            if (sample.count < sample.numbers.size()) {
                sample.numbers[sample.count++] = static_cast<double>(number);
            }
            return true;
        }
        if (depth_ != 1 || isList()) return false;
        if (value_ == Value::duration) {
            events_.duration = static_cast<double>(number);
            return hasDuration_ = true;
        }
        const auto version = exactInteger(number);
        events_.version = version.value_or(0);
        return hasVersion_ = version.has_value();
    }

    RecordingEvents events_;
    Value value_ = Value::unknown;
    std::size_t depth_ = 0;
    bool hasVersion_ = false;
    bool hasDuration_ = false;
    bool hasCursor_ = false;
    bool hasClicks_ = false;
};

// Hands a file to the parser piece by piece and remembers what the parser cannot tell: a failed read ends the
// text like its end does, and so would a zero byte.
class FileText : public std::streambuf {
  public:
    explicit FileText(const FileDescriptor& descriptor) : descriptor_(descriptor) {}
    bool isSound() const { return isSound_; }

  protected:
    int_type underflow() override {
        const auto count = readSome(descriptor_, buffer_.data(), buffer_.size());
        const std::size_t size = count.value_or(0);
        if (!count || std::memchr(buffer_.data(), 0, size)) isSound_ = false;
        setg(buffer_.data(), buffer_.data(), buffer_.data() + size);
        return size > 0 && isSound_ ? traits_type::to_int_type(*gptr()) : traits_type::eof();
    }

  private:
    const FileDescriptor& descriptor_;
    std::array<char, std::size_t{64} << 10> buffer_;
    bool isSound_ = true;
};

std::unexpected<Failure> damaged() {
    return failure("The recording’s events file is damaged.");
}

} // namespace

Result<RecordingEvents> decodeEvents(std::string_view json) {
    EventsHandler handler;
    const bool isText = json.find('\0') == std::string_view::npos;
    if (!isText || !nlohmann::json::sax_parse(json, &handler) || !handler.isComplete()) return damaged();
    return std::move(handler).events();
}

Result<RecordingEvents> readEvents(const std::filesystem::path& file) {
    const auto opened = openRegularFile(file);
    if (!opened) return std::unexpected(opened.error());
    FileText text(opened->descriptor);
    std::istream stream(&text);
    EventsHandler handler;
    if (!nlohmann::json::sax_parse(stream, &handler) || !text.isSound() || !handler.isComplete())
        return damaged();
    return std::move(handler).events();
}

} // namespace glintro
