// Lends the pose-cache reader and writer (a layer below) what they need of groups.
#pragma once

namespace hordera {

// Installs the group hooks of the pose caches; new_group() calls it, so that they are in place
// as soon as any agent can belong to a group.
void install_pose_cache_groups();

}  // namespace hordera
