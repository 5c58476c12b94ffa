#pragma once
// A rotating file sink that never lets a rename overwrite a file: it closes gaps in the
// numbered series first, deletes the oldest file itself, and retries a failed rename once.
// File i >= 1 of "dir/velmora_hopr.log" is "dir/velmora_hopr.{i}.log".

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>

#include <spdlog/details/file_helper.h>
#include <spdlog/details/os.h>
#include <spdlog/sinks/base_sink.h>

namespace Log::sinks {

template <typename Mutex>
class rotating_file_sink : public spdlog::sinks::base_sink<Mutex> {
public:
    static constexpr std::size_t kMaxFilesLimit = 200000;

    rotating_file_sink(std::string baseFileName, std::size_t maxSize, std::size_t maxFiles,
                       const spdlog::file_event_handlers& eventHandlers = {})
        : baseFileName_(std::move(baseFileName)),
          maxSize_(maxSize),
          maxFiles_(maxFiles),
          fileHelper_(eventHandlers) {
        if (maxSize == 0) {
            spdlog::throw_spdlog_ex("rotating sink constructor: max_size arg cannot be zero");
        }
        if (maxFiles > kMaxFilesLimit) {
            spdlog::throw_spdlog_ex("rotating sink constructor: max_files arg cannot exceed 200000");
        }
        fileHelper_.open(FileName(0));
        currentSize_ = fileHelper_.size();
    }

    std::string FileName(std::size_t index) const {
        if (index == 0) {
            return baseFileName_;
        }
        const auto [stem, extension] =
            spdlog::details::file_helper::split_by_extension(baseFileName_);
        return stem + "." + std::to_string(index) + extension;
    }

protected:
    void sink_it_(const spdlog::details::log_msg& msg) override {
        spdlog::memory_buf_t formatted;
        this->formatter_->format(msg, formatted);
        auto newSize = currentSize_ + formatted.size();
        if (newSize > maxSize_ && FlushedSize() > 0) {
            Rotate();
            newSize = formatted.size();
        }
        fileHelper_.write(formatted);
        currentSize_ = newSize;
    }

    void flush_() override { fileHelper_.flush(); }

    // Overridable so that tests can make a rename fail.
    virtual bool RenameFile(const std::string& from, const std::string& to) {
        return std::rename(from.c_str(), to.c_str()) == 0;
    }

private:
    // What is on disk, buffered bytes included.
    std::size_t FlushedSize() {
        fileHelper_.flush();
        return fileHelper_.size();
    }

    bool Exists(std::size_t index) const {
        return spdlog::details::os::path_exists(FileName(index));
    }

    void ShiftDown(std::size_t from) {
        for (std::size_t i = from; i >= 1; --i) {
            if (Exists(i - 1) && !Exists(i)) {
                RenameOrThrow(FileName(i - 1), FileName(i));
            }
        }
    }

    void Rotate() {
        fileHelper_.close();
        std::size_t highest = 0;
        for (std::size_t i = maxFiles_; i >= 1; --i) {
            if (Exists(i)) {
                highest = i;
                break;
            }
        }
        ShiftDown(highest);
        if (!Exists(0)) {
            fileHelper_.reopen(true);
            return;
        }
        if (Exists(maxFiles_)) {
            std::remove(FileName(maxFiles_).c_str());
        }
        ShiftDown(maxFiles_);
        fileHelper_.reopen(true);
    }

    void RenameOrThrow(const std::string& from, const std::string& to) {
        if (RenameFile(from, to)) {
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        if (RenameFile(from, to)) {
            return;
        }
        const int error = errno;
        fileHelper_.reopen(true);
        currentSize_ = 0;
        spdlog::throw_spdlog_ex("rotating_file_sink: failed renaming " + from + " to " + to,
                                error);
    }

    std::string baseFileName_;
    std::size_t maxSize_;
    std::size_t maxFiles_;
    std::size_t currentSize_ = 0;
    spdlog::details::file_helper fileHelper_;
};

}  // namespace Log::sinks
