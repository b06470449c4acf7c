#include "GroupObjectWriter.h"

#include "DptTable.h"
#include "KnxStack/IGroupValueService.h"
#include "Orn/Logging.h"
#include "StackAccess.h"
#include "ValueText.h"
#include "Zandrel/GroupValueConversion.h"

namespace Zandrel {

bool GroupObjectWriter::IsAvailable() const {
    return stack_.Use()->groupValueService != nullptr;
}

bool GroupObjectWriter::MayBeWritten(std::uint16_t co) const {
    const auto stack = stack_.Use();
    if (stack->groupValueService == nullptr) {
        return false;
    }
    const KnxStack::IGroupObject* const groupObject = stack->groupValueService->GetGroupObject(co);
    return groupObject != nullptr && groupObject->MayBeWritten();
}

bool GroupObjectWriter::WriteValue(std::uint16_t co, const KnxStack::GroupValue& value) const {
    const auto stack = stack_.Use();
    return stack->groupValueService != nullptr && stack->groupValueService->WriteValue(co, value, 0);
}

bool GroupObjectWriter::WriteText(std::uint16_t co, const KnxStyleString& text) const {
    const ZANVALUE value = ZANVALUE::FromText(getUTF8FromLatin1(text).GetBytes());
    const std::uint32_t dpt = dpts_.Get(co);
    const auto groupValue = ZanValueToGroupValue(value, dpt);
    if (!groupValue) {
        ORN_LOG_GLOBAL(FATAL, DescribeUnconvertible(value, co, dpt));
        return false;
    }
    return WriteValue(co, *groupValue);
}

}  // namespace Zandrel
