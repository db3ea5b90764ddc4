#pragma once

namespace mos::test {

/// Where files are, as far as the system's answers about them depend on it. Wine's never do.
enum class Volume {
    Usual,
    WithoutReparsePoints,   ///< FAT
    BelowClosedDirectories, ///< a share of which not every directory may be opened
    Full                    ///< no file can be made longer
};

/// While it lives, the system answers as for files on such a volume.
class SystemAnswers {
public:
    explicit SystemAnswers(Volume volume) noexcept;
    ~SystemAnswers();
    SystemAnswers(const SystemAnswers&) = delete;
    SystemAnswers& operator=(const SystemAnswers&) = delete;
};

} // namespace mos::test
