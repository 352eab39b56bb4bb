#pragma once
// The component framework: objects, components, collections, lists, strings, streams,
// published properties, persistence and main-thread messages.
#include "sigflow/core/ClassRegistry.h"
#include "sigflow/core/Collection.h"
#include "sigflow/core/Component.h"
#include "sigflow/core/Exceptions.h"
#include "sigflow/core/Lists.h"
#include "sigflow/core/Messages.h"
#include "sigflow/core/Object.h"
#include "sigflow/core/Persistence.h"
#include "sigflow/core/Persistent.h"
#include "sigflow/core/Properties.h"
#include "sigflow/core/Sets.h"
#include "sigflow/core/Streams.h"
#include "sigflow/core/Strings.h"
#include "sigflow/core/VarnComponent.h"
