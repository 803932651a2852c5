// A callback that writes down what it is called with and answers as it was told.
#ifndef OVPATCH_TESTS_FILEOPS_CALL_RECORDER_H
#define OVPATCH_TESTS_FILEOPS_CALL_RECORDER_H

#include <functional>
#include <map>
#include <string>

#include "fileops/file_op.h"
#include "tests/fileops/temp_tree.h"

namespace ovpatch::test {

class CallRecorder {
public:
    explicit CallRecorder(const TempTree& tree) : tree_(tree) {
        record.recordSize = 77;
        record.userData = this;
    }

    // The calls in order, each as its code letter (n new, o overwrite, f file, m make, r remove), its phase
    // and its paths below the root: "n0 \a>\b\a ".
    std::string calls;
    // Answers by the beginning of a call, as "n0 \a".
    std::map<std::string, std::int32_t> answers;
    // When set, calls that `answers` does not know are skipped or stopped now and then, the same ones for the
    // same value.
    std::size_t mood = 0;
    FileOpRecord record = {};

    static std::int32_t callback(FileOpRecord* record) {
        auto* self = static_cast<CallRecorder*>(record->userData);
        std::string call{"nofmr"[record->operation], static_cast<char>('0' + record->phase), ' '};
        call += self->tree_.local(record->sourcePath);
        const auto answer = self->answers.find(call);
        if (record->targetPath != nullptr) call += ">" + self->tree_.local(record->targetPath);
        self->calls += call + " ";
        if (answer != self->answers.end()) return answer->second;
        if (self->mood == 0) return 0;
        const std::size_t dice = (std::hash<std::string>()(call) ^ self->mood) % 13;
        return dice == 0 ? 1 : dice < 3 ? 2 : 0;
    }

private:
    const TempTree& tree_;
};

}  // namespace ovpatch::test

#endif
