#pragma once

#include <memory>

namespace zk {

/**
 * Tells a step whether what it works for is still the current one.
 *
 * A slot of the host or a nested event loop may start another check or download, or delete the
 * client. So a step takes a mark before it emits or executes anything, and goes on only while that
 * is current. GUI thread only.
 */
class Epoch final
{
public:
    class Mark final
    {
    public:
        explicit Mark(std::weak_ptr<const char> epoch)
            : m_epoch(std::move(epoch))
        {
        }
        /** False once the next epoch has begun, or the owner of the epochs is gone. */
        [[nodiscard]] bool isCurrent() const { return !m_epoch.expired(); }

    private:
        std::weak_ptr<const char> m_epoch;
    };

    /** Ends the epoch before, and all its marks with it. */
    Mark begin()
    {
        m_epoch = std::make_shared<const char>('\0');
        return mark();
    }
    [[nodiscard]] Mark mark() const { return Mark(m_epoch); }

private:
    std::shared_ptr<const char> m_epoch = std::make_shared<const char>('\0');
};

} // namespace zk
