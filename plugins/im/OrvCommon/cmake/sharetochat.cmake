# The share-to-chat tool: records each share and announces it to the host.
target_sources(OrvCommon PRIVATE
    ${CMAKE_CURRENT_LIST_DIR}/../ShareToChatTool.cpp
    ${CMAKE_CURRENT_LIST_DIR}/../ShareToChatTool.h
)
