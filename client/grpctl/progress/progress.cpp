#include "client/grpctl/progress/progress.h"

#include <sys/eventfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <exception>
#include <string_view>
#include <variant>

#include "client/grpctl/progress/progress_words.h"
#include "client/grpctl/text/screen.h"
#include "client/grpctl/trace/trace_line.h"

namespace GrpCtl {

namespace {

using GrpOwnerClient::ErrorKind;
using GrpOwnerClient::LineStream;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

// An owner that takes longer to say hello has other worries; the request goes out without progress.
constexpr milliseconds kHello{100};
// The last steps come beside the answer.
constexpr milliseconds kRest{200};

bool AreOnePlace(int left, int right) {
    struct stat leftFile {};
    struct stat rightFile {};
    return fstat(left, &leftFile) == 0 && fstat(right, &rightFile) == 0 &&
           leftFile.st_dev == rightFile.st_dev && leftFile.st_ino == rightFile.st_ino;
}

bool IsForPeople(const Options& options) {
    return options.format == Format::kText || options.format == Format::kWide;
}

ProgressForm FormFor(const Options& options) {
    if (options.progress != ProgressForm::kAuto) {
        return options.progress;
    }
    if (options.isQuiet) {
        return ProgressForm::kNone;
    }
    const Screen screen = Screen::Of(STDERR_FILENO, options.color);
    if (screen.isClever) {
        return ProgressForm::kTerminal;
    }
    // A program that reads the result may read standard error with it.
    return IsForPeople(options) ? ProgressForm::kPlain : ProgressForm::kNone;
}

std::string TraceBeside(const std::string& ownerSocket) {
    constexpr std::string_view kEnding = ".vfs";
    const bool isPlain = ownerSocket.size() > kEnding.size() &&
                         ownerSocket.substr(ownerSocket.size() - kEnding.size()) == kEnding;
    return isPlain ? ownerSocket.substr(0, ownerSocket.size() - kEnding.size()) + ".trace" : "";
}

}  // namespace

int64_t MonotonicNow() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch())
        .count();
}

Progress::Progress(const Options& options, const std::string& ownerSocket, Subject subject)
    : isReportBeside_(IsForPeople(options) && !options.isQuiet &&
                      AreOnePlace(STDOUT_FILENO, STDERR_FILENO)),
      model_(subject.request, std::move(subject.tasks), getpid()) {
    const ProgressForm form = FormFor(options);
    if (form == ProgressForm::kNone || !Connect(ownerSocket)) {
        return;
    }
    // A result that is no report, such as JSON, is not to stand below a picture of it.
    const bool isPictureKept = options.isQuiet || !AreOnePlace(STDOUT_FILENO, STDERR_FILENO);
    isPlain_ = form == ProgressForm::kPlain;
    sink_ = form == ProgressForm::kTerminal
                ? MakeTerminalSink(subject.headline, options.color, isPictureKept)
            : isPlain_ ? MakePlainSink(model_, subject.headline, !isReportBeside_)
                       : MakeJsonSink(options.verb);
    thread_ = std::thread([this] { Run(); });
}

Progress::~Progress() {
    Give(Order::kAbandon);
}

bool Progress::Connect(const std::string& ownerSocket) {
    const std::string path = TraceBeside(ownerSocket);
    wake_ = GrpOwnerClient::OwnedDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (path.empty() || wake_.Get() < 0) {
        return false;
    }
    auto stream = LineStream::Open(path, "group owner", "from=now follow", kHello);
    if (!stream) {
        return false;
    }
    // Behind the hello every step is told.
    const auto hello = stream->Next(kHello);
    if (!hello) {
        return false;
    }
    const auto item = ReadTraceLine(*hello);
    if (!item || !std::holds_alternative<TraceHello>(*item)) {
        return false;
    }
    stream_ = std::move(*stream);
    return true;
}

// Whatever happens here, the command goes on.
void Progress::Run() noexcept {
    try {
        Follow();
    } catch (const std::exception&) {
        isPlain_ = false;  // nobody knows what has been told
    }
}

void Progress::Follow() {
    bool isOpen = true;
    milliseconds wait{0};
    while (order_ == Order::kFollow) {
        isOpen = isOpen && TakeAll(wait, wake_.Get());
        if (!isOpen) {
            break;  // the owner has gone; the request will say so
        }
        wait = sink_->Update(model_);
    }
    if (isOpen && order_ == Order::kEnd) {
        DrainUntilEnd();
        sink_->End(model_);
    } else {
        sink_->Abandon(model_);
    }
}

// Waits for a first line and takes what has come with it, but not for ever.
// @return false at the end of the stream
bool Progress::TakeAll(milliseconds timeout, int wakeFd) {
    constexpr int kMost = 1000;
    for (int count = 0; count < kMost; ++count) {
        const auto line = stream_.Next(count == 0 ? timeout : milliseconds(0), wakeFd);
        if (!line) {
            const ErrorKind kind = line.GetError().kind;
            return kind == ErrorKind::kTimeout || kind == ErrorKind::kInterrupted;
        }
        const auto item = ReadTraceLine(*line);
        if (!item) {
            continue;
        }
        if (const auto* const step = std::get_if<TraceStep>(&*item)) {
            model_.Take(*step);
            (void)sink_->Update(model_);  // each stage is seen; when to come again is asked below
        } else if (const auto* const gap = std::get_if<TraceGap>(&*item)) {
            model_.TakeGap(gap->missed);
        }
    }
    return true;
}

void Progress::DrainUntilEnd() {
    const auto deadline = Clock::now() + kRest;
    while (!model_.HasEnded()) {
        const auto left = std::chrono::duration_cast<milliseconds>(deadline - Clock::now());
        if (left.count() <= 0 || !TakeAll(left, -1)) {
            return;
        }
    }
}

void Progress::Give(Order order) {
    if (thread_.joinable()) {
        order_ = order;
        (void)eventfd_write(wake_.Get(), 1);  // fails when it has been woken already
        thread_.join();
    }
}

SeenTasks Progress::End() {
    Give(Order::kEnd);
    SeenTasks seen;
    for (const TaskProgress& task : model_.Tasks()) {
        if (task.ended != 0) {
            seen[{task.task.name, task.task.option}] = {
                Between(model_.Begun(), task.ended), TimeOf(task, task.ended),
                isPlain_ && isReportBeside_ && task.stage != Stage::kSkipped};
        }
    }
    return seen;
}

}  // namespace GrpCtl
