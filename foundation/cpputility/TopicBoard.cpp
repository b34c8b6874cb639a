#include "foundation/cpputility/TopicBoard.h"

#include "foundation/support/Mutex.h"
#include "foundation/support/Text.h"

#include <map>

namespace CppUtility {
namespace {

struct Board {
    halvane::Mutex lock;
    std::map<halvane::Text, BaseData*, std::less<>> topics GUARDED_BY(lock);
};

Board& TheBoard() {
    static Board board;
    return board;
}

} // namespace

void SetTopic(const wchar_t* name, BaseData* record) {
    Board& board = TheBoard();
    const halvane::MutexLock guard(board.lock);
    board.topics[name] = record;
}

BaseData* GetDataFromTopic(const wchar_t* name) {
    Board& board = TheBoard();
    const halvane::MutexLock guard(board.lock);
    const auto found = board.topics.find(halvane::TextView(name));
    return found == board.topics.end() ? nullptr : found->second;
}

} // namespace CppUtility
